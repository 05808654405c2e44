// ResponsesAIServiceError: the failures of the Responses family, worded with the
// service's name. Each member throws its own subtype
// (ChatGPTResponsesAIServiceError, OpenAIAPIServiceError,
// XAIResponsesAIServiceError), so callers can tell the services apart.
#pragma once

#include <string>
#include <string_view>

#include "ai/responses_service_member.h"
#include "core/error.h"

namespace zephyl::ai {

class ResponsesAIServiceError : public core::Error {
 public:
  using Code = ResponsesErrorCode;

  ResponsesAIServiceError(std::string_view serviceName, std::string_view missingCredentialText, Code code,
                          std::string detail)
      : Error(text(serviceName, missingCredentialText, code, detail)),
        code_(code),
        detail_(std::move(detail)) {}

  static std::string text(std::string_view serviceName, std::string_view missingCredentialText, Code code,
                          const std::string& detail) {
    const std::string name(serviceName);
    switch (code) {
      case Code::kEmptyPrompt:
        return "Ask a question first.";
      case Code::kMissingCredential:
        return std::string(missingCredentialText);
      case Code::kInvalidURL:
        return name + " URL is invalid.";
      case Code::kEmptyResponse:
        return name + " finished without returning an answer.";
      case Code::kResponseFailed:
        return name + " response failed: " + detail;
      case Code::kResponseIncomplete:
        return detail.empty() ? "Response incomplete." : "Response incomplete: " + detail;
      case Code::kHTTPStatus:
        return name + " returned status " + detail;
      case Code::kAttachmentTooLarge:
        return "\"" + detail + "\" is too large to send. Remove it or choose a smaller file.";
      case Code::kStreamEndedEarly:
        return "The connection to " + name + " ended before the answer was complete. Try again.";
    }
    return {};
  }

  Code code() const { return code_; }
  const std::string& detail() const { return detail_; }

 private:
  Code code_;
  std::string detail_;
};

}  // namespace zephyl::ai
