// ChatGPTResponsesAIService: the ChatGPT account ("codex") on the ChatGPT
// backend's Responses endpoint, with the signed-in account's access token and
// account id. A 401 refreshes the token once and tries again.
#pragma once

#include "ai/ai_account_access.h"
#include "ai/responses_ai_service.h"
#include "ai/responses_ai_service_error.h"

namespace zephyl::ai {

class ChatGPTResponsesAIServiceError : public ResponsesAIServiceError {
 public:
  static constexpr std::string_view kServiceName = "ChatGPT";
  static constexpr std::string_view kMissingAccountIDText = "Sign in with ChatGPT in Settings first.";

  explicit ChatGPTResponsesAIServiceError(Code code, std::string detail = {})
      : ResponsesAIServiceError(kServiceName, kMissingAccountIDText, code, std::move(detail)) {}
};

class ChatGPTResponsesAIService : public ResponsesAIService {
 public:
  static constexpr std::string_view kDefaultBaseURL = "https://chatgpt.com/backend-api/codex";
  static const ResponsesServiceMember kMember;

  // `http` and `account` must outlive the service; a null `account` means no
  // one is signed in.
  ChatGPTResponsesAIService(AIHTTPClient& http, AIAccountAccessSource* account, std::string baseURL);

 protected:
  AIAccountAccess access(std::stop_token stop) override;
  std::optional<AIAccountAccess> refreshAfterUnauthorized(const AIAccountAccess& rejected,
                                                          std::stop_token stop) override;

 private:
  AIAccountAccessSource* account_;
};

}  // namespace zephyl::ai
