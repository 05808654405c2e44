// ResponsesStreamDecoder: turns the server-sent events of one Responses stream
// into AIStreamEvent values. It keeps what the answer needs across events: the
// message items (commentary and final answer are kept apart by a blank line),
// reasoning summary parts, finished output items to replay next turn, search
// sources, and whether the response produced anything at all.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "ai/ai_reported_usage.h"
#include "ai/ai_stream_provider.h"
#include "ai/responses_service_member.h"
#include "ai/server_sent_event_exchange.h"
#include "core/json_value.h"

namespace zephyl::ai {

class ResponsesStreamDecoder {
 public:
  // `member` must outlive the decoder.
  explicit ResponsesStreamDecoder(const ResponsesServiceMember& member) : member_(member) {}

  // Decodes one event and emits what it means. Returns kEndOfStream at
  // "response.completed", "response.done" or "[DONE]"; fails through
  // `member.fail` at "response.failed", "error" (flat or nested) and
  // "response.incomplete" (after emitting the usage it carries). Events of
  // other types, data that is not JSON, and keep-alives are ignored.
  SSEEventOutcome decode(const SSEEvent& event, const AIStreamProvider::Emit& emit);

  // After kEndOfStream: the usage of "response.completed", if reported.
  const std::optional<AIUsageReport>& usage() const { return usage_; }
  // Finished output items worth replaying (reasoning, function calls, web
  // search calls), in the order they finished.
  const std::vector<core::JSONValue>& keptItems() const { return keptItems_; }
  // Function calls to `name` that finished in this response.
  std::vector<core::JSONValue> functionCalls(std::string_view name) const;
  const std::optional<std::string>& responseID() const { return responseID_; }
  // Whether the response answered: text, a refusal, a function call or an image.
  bool producedOutput() const { return producedOutput_; }

 private:
  void appendText(const core::JSONValue& message, const AIStreamProvider::Emit& emit);
  void appendReasoning(const core::JSONValue& message, const AIStreamProvider::Emit& emit);
  void finishItem(const core::JSONValue& item, const AIStreamProvider::Emit& emit);
  void searchUpdate(const core::JSONValue& message, bool completed, const AIStreamProvider::Emit& emit);
  void noteResponse(const core::JSONValue& message, const AIStreamProvider::Emit& emit);
  void noteCitation(const core::JSONValue& message);
  void emitSources(const AIStreamProvider::Emit& emit);

  const ResponsesServiceMember& member_;
  std::optional<std::string> responseID_;
  std::optional<std::string> textItemID_;  // the message item being streamed
  bool answerStarted_ = false;
  bool reasoningStarted_ = false;
  bool reasoningPartClosed_ = false;
  bool producedOutput_ = false;
  std::vector<core::JSONValue> keptItems_;
  std::vector<std::string> sources_;  // search sources and citations, first seen first
  std::set<std::string> seenSources_;
  size_t reportedSources_ = 0;
  std::optional<AIUsageReport> usage_;
};

}  // namespace zephyl::ai
