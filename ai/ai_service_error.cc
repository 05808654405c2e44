#include "ai/ai_service_error.h"

namespace zephyl::ai {
namespace {

// Commands read credentials from the environment too; say which variable.
std::string orSet(std::string_view variable) {
  return variable.empty() ? "." : " (or set " + std::string(variable) + ").";
}

}  // namespace

std::string AIServiceError::text(std::string_view serviceName, Code code, std::string_view detail,
                                 long status) {
  const std::string name(serviceName);
  switch (code) {
    case Code::kEmptyPrompt:
      return "Ask a question first.";
    case Code::kMissingAPIKey:
      return "Add your " + name + " API key in Settings first" + orSet(detail);
    case Code::kMissingAccountID:
      return "Add your " + name + " account ID in Settings first" + orSet(detail);
    case Code::kUnknownModel:
      return name + " does not offer this model. Choose another model in Settings.";
    case Code::kInvalidURL:
      return name + " URL is invalid.";
    case Code::kImagesNotSupported:
      return "The selected " + name + " model cannot read images. Remove them or choose another model.";
    case Code::kUnsupportedAttachment:
      return "\"" + std::string(detail) + "\" cannot be sent to " + name +
             ". Attach an image or a text file instead.";
    case Code::kHTTPStatus:
      return name + " returned status " + std::to_string(status) +
             (detail.empty() ? "" : ": " + std::string(detail));
    case Code::kResponseFailed:
      return name + " response failed: " + std::string(detail);
    case Code::kResponseIncomplete:
      return detail.empty() ? "Response incomplete." : "Response incomplete: " + std::string(detail);
    case Code::kEmptyResponse:
      return name + " finished without returning an answer.";
    case Code::kBrokenStream:
      return name + " stopped sending before the answer was complete.";
    case Code::kUnreadableResponse:
      return name + " sent a response that could not be read.";
    case Code::kMalformedToolCall:
      return name + " sent a tool call whose arguments could not be read.";
  }
  return {};
}

}  // namespace zephyl::ai
