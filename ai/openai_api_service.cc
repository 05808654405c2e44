#include "ai/openai_api_service.h"

#include "ai/ai_settings_keys.h"

namespace zephyl::ai {
namespace {

[[noreturn]] void fail(ResponsesErrorCode code, std::string detail) {
  throw OpenAIAPIServiceError(code, std::move(detail));
}

}  // namespace

const ResponsesServiceMember OpenAIAPIService::kMember{
    .provider = AIProvider::kOpenAIAPI,
    .serviceName = OpenAIAPIServiceError::kServiceName,
    .defaultBaseURL = kDefaultBaseURL,
    .path = "/responses",
    .missingCredentialText = OpenAIAPIServiceError::kMissingAPIKeyText,
    .sendsAccountID = false,
    .runsImageToolItself = false,
    .requestsSearchSources = true,
    .offersNotesQueryTool = true,
    .fail = fail,
};

OpenAIAPIService::OpenAIAPIService(AIHTTPClient& http, AICredentialStore& credentials, std::string baseURL)
    : ResponsesAIService(kMember, http, std::move(baseURL)), credentials_(credentials) {}

AIAccountAccess OpenAIAPIService::access(std::stop_token) {
  std::optional<std::string> key = credentials_.secret(std::string(kOpenAIAPIKeyName));
  if (!key || key->empty()) fail(ResponsesErrorCode::kMissingCredential, {});
  return {std::move(*key), std::nullopt};
}

}  // namespace zephyl::ai
