// ChatCompletionsStreamDecoder: reads the events of an OpenAI-compatible Chat
// Completions stream ("data: <chunk>" lines ending with "data: [DONE]") and
// emits AIStreamEvent values. It knows the habits of the services that speak
// it: tool calls arriving in fragments keyed by index, reasoning in
// "reasoning_content" or "reasoning", refusals streamed as answer text, usage
// on a chunk with no choices or on the finishing chunk, an {"error": ...} chunk
// after HTTP 200, and gateways' empty or non-JSON keep-alive data.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "ai/ai_json_stream_decoder.h"
#include "ai/ai_provider.h"
#include "ai/ai_reported_usage.h"
#include "ai/ai_service_error.h"
#include "ai/ai_stream_event.h"

namespace zephyl::ai {

class ChatCompletionsStreamDecoder : public AIJSONStreamDecoder {
 public:
  // `provider` is recorded on the provider items the stream leaves.
  explicit ChatCompletionsStreamDecoder(AIProvider provider) : provider_(provider) {}

  // Reads one event's data. After "[DONE]" or a failure the stream has ended
  // and further data is ignored.
  void decode(std::string_view data, const Emit& emit) override;
  bool ended() const override { return done_ || failure_.has_value(); }

  // Called once when the body ends. Emits the closing events (the assistant
  // turn with its tool calls as a provider item, the usage, completed) and
  // returns nothing, or returns what went wrong: an error chunk, a body cut off
  // before "[DONE]" or a finish reason, an unfinished tool call, a finish
  // reason other than a natural stop, or no answer at all. Usage that arrived
  // is emitted either way, so it is counted.
  std::optional<AIStreamFailure> finish(const Emit& emit) override;

 private:
  struct ToolCall {
    std::string id;
    std::string name;
    std::string arguments;
  };

  void decodeChoice(const core::JSONValue& choice, const Emit& emit);
  std::optional<AIStreamFailure> closingFailure() const;

  AIProvider provider_;
  bool done_ = false;
  bool sentRequestID_ = false;
  std::optional<std::string> responseID_;
  std::optional<std::string> finishReason_;
  std::optional<AIReportedUsage> usage_;
  std::string answer_;
  std::map<int64_t, ToolCall> toolCalls_;  // by the fragments' index
  std::optional<AIStreamFailure> failure_;
};

}  // namespace zephyl::ai
