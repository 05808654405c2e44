#include "ai/chatgpt_responses_ai_service.h"

namespace zephyl::ai {
namespace {

[[noreturn]] void fail(ResponsesErrorCode code, std::string detail) {
  throw ChatGPTResponsesAIServiceError(code, std::move(detail));
}

// Without an account id the backend cannot tell which plan pays: sign in again.
AIAccountAccess withAccountID(std::optional<AIAccountAccess> access) {
  if (!access || access->accessToken.empty() || !access->accountID || access->accountID->empty()) {
    fail(ResponsesErrorCode::kMissingCredential, {});
  }
  return std::move(*access);
}

}  // namespace

const ResponsesServiceMember ChatGPTResponsesAIService::kMember{
    .provider = AIProvider::kCodex,
    .serviceName = ChatGPTResponsesAIServiceError::kServiceName,
    .defaultBaseURL = kDefaultBaseURL,
    .path = "/responses",
    .missingCredentialText = ChatGPTResponsesAIServiceError::kMissingAccountIDText,
    .sendsAccountID = true,
    .runsImageToolItself = false,
    .requestsSearchSources = true,
    .offersNotesQueryTool = true,
    .fail = fail,
};

ChatGPTResponsesAIService::ChatGPTResponsesAIService(AIHTTPClient& http, AIAccountAccessSource* account,
                                                     std::string baseURL)
    : ResponsesAIService(kMember, http, std::move(baseURL)), account_(account) {}

AIAccountAccess ChatGPTResponsesAIService::access(std::stop_token stop) {
  return withAccountID(account_ != nullptr ? account_->currentAccess(stop) : std::nullopt);
}

std::optional<AIAccountAccess> ChatGPTResponsesAIService::refreshAfterUnauthorized(
    const AIAccountAccess& rejected, std::stop_token stop) {
  if (account_ == nullptr) return std::nullopt;
  return withAccountID(account_->refreshAfterUnauthorized(rejected, stop));
}

}  // namespace zephyl::ai
