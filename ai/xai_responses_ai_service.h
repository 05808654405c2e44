// XAIResponsesAIService: xAI ("xaiAccount") on its Responses endpoint, with the
// signed-in xAI account or, where none is, an xAI API key. Image generation is
// a function tool that Zephyl runs itself through an AIImageGenerator and
// answers with a "function_call_output" item; at most four images a response.
#pragma once

#include "ai/ai_account_access.h"
#include "ai/ai_credential_store.h"
#include "ai/ai_image_generator.h"
#include "ai/responses_ai_service.h"
#include "ai/responses_ai_service_error.h"

namespace zephyl::ai {

class XAIResponsesAIServiceError : public ResponsesAIServiceError {
 public:
  static constexpr std::string_view kServiceName = "Grok";
  static constexpr std::string_view kMissingCredentialText =
      "Sign in with xAI in Settings first (or set XAI_API_KEY).";

  explicit XAIResponsesAIServiceError(Code code, std::string detail = {})
      : ResponsesAIServiceError(kServiceName, kMissingCredentialText, code, std::move(detail)) {}
};

class XAIResponsesAIService : public ResponsesAIService {
 public:
  static constexpr std::string_view kDefaultBaseURL = "https://api.x.ai/v1";
  static constexpr int kMaximumImagesPerResponse = 4;
  static const ResponsesServiceMember kMember;

  // What the user sees on the tool call, and what the model is told.
  static constexpr std::string_view kInvalidOptionsMessage =
      "Grok requested image generation with invalid options.";
  static constexpr std::string_view kInvalidOptionsResult =
      "Image generation failed because the requested options were invalid.";
  static constexpr std::string_view kCopyrightMessage =
      "The request may contain copyrighted material. Describe an original character and try again.";
  static constexpr std::string_view kCopyrightResult =
      "Image generation was declined because the request may contain copyrighted material. Ask the user to "
      "describe an original character instead.";
  static constexpr std::string_view kImageLimitMessage =
      "Grok reached the four-image limit for this response.";
  static constexpr std::string_view kImageFailedResult =
      "Image generation failed or reached this response's four-image limit.";
  static constexpr std::string_view kImageShownResult = "The image was generated and shown to the user.";

  // All must outlive the service; a null `account` means no account is signed
  // in, and the "xaiAPIKey" credential (XAI_API_KEY) is used.
  XAIResponsesAIService(AIHTTPClient& http, AIAccountAccessSource* account, AICredentialStore& credentials,
                        AIImageGenerator& images, std::string baseURL);

 protected:
  AIAccountAccess access(std::stop_token stop) override;
  std::optional<AIAccountAccess> refreshAfterUnauthorized(const AIAccountAccess& rejected,
                                                          std::stop_token stop) override;
  core::JSONValue::Array runOwnFunctionCalls(const ResponsesStreamDecoder& decoder,
                                             const AIStreamRequest& request,
                                             ResponsesRequestProgress& progress, std::stop_token stop,
                                             const Emit& emit) override;

 private:
  AIAccountAccessSource* account_;
  AICredentialStore& credentials_;
  AIImageGenerator& images_;
};

}  // namespace zephyl::ai
