// AIServiceError: how a service adapter fails, told in the service's own name
// ("DeepSeek returned status 429"). Every adapter throws its own type derived
// from this one, so callers can still tell services apart, while the cases and
// their texts stay one table.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/error.h"

namespace zephyl::ai {

class AIServiceError : public core::Error {
 public:
  enum class Code {
    kEmptyPrompt,
    kMissingAPIKey,
    kMissingAccountID,
    kUnknownModel,
    kInvalidURL,
    kImagesNotSupported,
    kUnsupportedAttachment,
    kHTTPStatus,
    kResponseFailed,
    kResponseIncomplete,
    kEmptyResponse,
    kBrokenStream,
    kUnreadableResponse,
    kMalformedToolCall,
  };

  // `detail` is the service's own message or reason where the case shows one
  // (kHTTPStatus, kResponseFailed, kResponseIncomplete), the file name
  // (kUnsupportedAttachment), or the environment variable that can stand in
  // (kMissingAPIKey, kMissingAccountID); the service's words stay in the
  // description so that a context overflow is recognised from them.
  AIServiceError(std::string_view serviceName, Code code, std::string detail = {}, long status = 0)
      : Error(text(serviceName, code, detail, status)),
        code_(code),
        status_(status),
        detail_(std::move(detail)) {}

  static std::string text(std::string_view serviceName, Code code, std::string_view detail, long status);

  Code code() const { return code_; }
  long status() const { return status_; }  // kHTTPStatus only
  const std::string& detail() const { return detail_; }

 private:
  Code code_;
  long status_;
  std::string detail_;
};

// What a stream decoder found wrong, before the adapter turns it into its own
// error type.
struct AIStreamFailure {
  AIServiceError::Code code = AIServiceError::Code::kBrokenStream;
  std::string detail;
  long status = 0;  // kHTTPStatus only

  bool operator==(const AIStreamFailure&) const = default;
};

// An encoded request body, or why none can be built.
struct AIEncodedRequestBody {
  std::string body;
  std::optional<AIStreamFailure> failure;
};

}  // namespace zephyl::ai
