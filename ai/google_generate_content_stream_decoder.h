// GoogleGenerateContentStreamDecoder: reads the events of a Google
// streamGenerateContent body (one JSON chunk per "data:" line, no "[DONE]":
// the body simply ends) and emits AIStreamEvent values. Thought parts are
// reasoning, never answer text; parts that carry a "thoughtSignature" or a
// function call are kept, as received, in the model turn left as a provider
// item, because the service wants them back with the history; "usageMetadata"
// is cumulative, so the last one counts.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "ai/ai_json_stream_decoder.h"
#include "ai/ai_reported_usage.h"
#include "ai/ai_service_error.h"
#include "ai/ai_stream_event.h"

namespace zephyl::ai {

class GoogleGenerateContentStreamDecoder : public AIJSONStreamDecoder {
 public:
  // Reads one event's data; after a failure further data is ignored.
  void decode(std::string_view data, const Emit& emit) override;
  bool ended() const override { return failure_.has_value(); }

  // Called once when the body ends: emits the model turn (when it has parts
  // the service wants back), the usage and completed, or returns the failure:
  // an error chunk, a body without a finish reason, a finish reason other than
  // "STOP", or no answer at all. Usage that arrived is emitted either way.
  std::optional<AIStreamFailure> finish(const Emit& emit) override;

 private:
  void keepPart(const core::JSONValue& part);
  std::optional<AIStreamFailure> closingFailure() const;

  bool sentRequestID_ = false;
  std::optional<std::string> responseID_;
  std::optional<std::string> finishReason_;
  std::optional<AIReportedUsage> usage_;
  bool answered_ = false;
  bool calledFunction_ = false;
  bool partsToReplay_ = false;  // a signature or a function call among parts_
  core::JSONValue::Array parts_;
  std::optional<AIStreamFailure> failure_;
};

// Google's "usageMetadata" in the common form. Output counts the thoughts too,
// as the other services' output tokens include their reasoning tokens.
AIReportedUsage googleReportedUsage(const core::JSONValue& usageMetadata);

}  // namespace zephyl::ai
