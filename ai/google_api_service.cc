#include "ai/google_api_service.h"

#include "ai/ai_json_stream_decoder.h"
#include "ai/ai_model_catalog.h"
#include "ai/ai_service_endpoint.h"
#include "ai/ai_settings_keys.h"
#include "ai/chat_completions_ai_service.h"
#include "ai/environment_credential_store.h"
#include "ai/google_generate_content_request_body.h"
#include "ai/google_generate_content_stream_decoder.h"

namespace zephyl::ai {

GoogleAPIService::GoogleAPIService(AIHTTPClient& http, AICredentialStore& credentials,
                                   std::optional<std::string> baseURL)
    : http_(http), credentials_(credentials), baseURL_(baseURL.value_or(std::string(kDefaultBaseURL))) {}

std::string GoogleAPIService::url(const AIStreamRequest& request) const {
  return serviceURL(baseURL_, "/models/" + AIModelCatalog::serviceModelName(request.model) +
                                  ":streamGenerateContent?alt=sse");
}

std::string GoogleAPIService::requestBody(const AIStreamRequest& request) const {
  // The catalogue gives a default effort exactly to the models that take a thinking setting.
  const bool takesThinking = AIModelCatalog().defaultReasoningEffort(request.model).has_value();
  AIEncodedRequestBody encoded =
      encodeGoogleGenerateContentRequestBody(request, AIModelCatalog::serviceModelName(request.model),
                                             takesThinking, ChatCompletionsAIService::functionTools(request));
  if (encoded.failure) throw GoogleAPIServiceError(*encoded.failure);
  return std::move(encoded.body);
}

void GoogleAPIService::produce(const AIStreamRequest& request, std::stop_token stop, const Emit& emit) {
  auto key = credentials_.secret(std::string(kGoogleAPIKeyName));
  if (!key || key->empty()) {
    throw GoogleAPIServiceError(
        {AIServiceError::Code::kMissingAPIKey, environmentVariableFor(kGoogleAPIKeyName)});
  }
  HTTPRequest http;
  http.url = url(request);
  if (!requireCredentialSafeURL(http.url))
    throw GoogleAPIServiceError({AIServiceError::Code::kInvalidURL, {}});
  http.headers.emplace_back("x-goog-api-key", *key);
  http.headers.emplace_back("Content-Type", "application/json");
  http.headers.emplace_back("Accept", "text/event-stream");
  http.body = requestBody(request);
  GoogleGenerateContentStreamDecoder decoder;
  if (auto failure = streamJSONEvents(http_, http, request.transportRetryPolicy, stop, decoder, emit)) {
    throw GoogleAPIServiceError(*failure);
  }
}

}  // namespace zephyl::ai
