// OpenAIAPIService: the OpenAI API ("openAIAPI") on its Responses endpoint with
// the user's API key.
#pragma once

#include "ai/ai_credential_store.h"
#include "ai/responses_ai_service.h"
#include "ai/responses_ai_service_error.h"

namespace zephyl::ai {

class OpenAIAPIServiceError : public ResponsesAIServiceError {
 public:
  static constexpr std::string_view kServiceName = "OpenAI";
  static constexpr std::string_view kMissingAPIKeyText =
      "Add an OpenAI API key in Settings first (or set OPENAI_API_KEY).";

  explicit OpenAIAPIServiceError(Code code, std::string detail = {})
      : ResponsesAIServiceError(kServiceName, kMissingAPIKeyText, code, std::move(detail)) {}
};

class OpenAIAPIService : public ResponsesAIService {
 public:
  static constexpr std::string_view kDefaultBaseURL = "https://api.openai.com/v1";
  static const ResponsesServiceMember kMember;

  // `http` and `credentials` must outlive the service.
  OpenAIAPIService(AIHTTPClient& http, AICredentialStore& credentials, std::string baseURL);

 protected:
  AIAccountAccess access(std::stop_token stop) override;

 private:
  AICredentialStore& credentials_;
};

}  // namespace zephyl::ai
