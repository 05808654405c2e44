#include "ai/chat_completions_ai_service.h"

#include "ai/ai_json_stream_decoder.h"
#include "ai/ai_model_catalog.h"
#include "ai/ai_service_endpoint.h"
#include "ai/chat_completions_stream_decoder.h"
#include "ai/environment_credential_store.h"
#include "ai/responses_request_body.h"

namespace zephyl::ai {

std::vector<core::JSONValue> ChatCompletionsAIService::functionTools(const AIStreamRequest& request) {
  // A search demanded on every turn leaves no room for a notes query.
  if (!request.allowsLocalNotesQuery || request.webSearchMode == AIWebToolMode::kAlways) return {};
  return {notesQueryFunctionTool()};
}

ChatCompletionsTarget ChatCompletionsAIService::keyedTarget(const AIStreamRequest& request,
                                                            AICredentialStore& credentials,
                                                            std::string_view keyName,
                                                            std::string_view baseURL,
                                                            ChatCompletionsDialect dialect) const {
  auto key = credentials.secret(std::string(keyName));
  if (!key || key->empty())
    raise(request, {AIServiceError::Code::kMissingAPIKey, environmentVariableFor(keyName)});
  return {serviceURL(baseURL, "/chat/completions"),
          std::move(key),
          AIModelCatalog::serviceModelName(request.model),
          dialect,
          {}};
}

std::string ChatCompletionsAIService::requestBody(const AIStreamRequest& request) const {
  const ChatCompletionsTarget where = target(request);
  AIEncodedRequestBody encoded =
      encodeChatCompletionsRequestBody(request, where.modelName, where.dialect, functionTools(request));
  if (encoded.failure) raise(request, *encoded.failure);
  return std::move(encoded.body);
}

void ChatCompletionsAIService::produce(const AIStreamRequest& request, std::stop_token stop,
                                       const Emit& emit) {
  const ChatCompletionsTarget where = target(request);
  // Without a key (a local server) nothing secret travels, so plain http may go anywhere.
  const bool usable = where.apiKey ? requireCredentialSafeURL(where.url)
                                   : checkCredentialURL(where.url) != AIServiceURLCheck::kInvalid;
  if (!usable) raise(request, {AIServiceError::Code::kInvalidURL, {}});
  HTTPRequest http;
  http.url = where.url;
  if (where.apiKey) http.headers.emplace_back("Authorization", "Bearer " + *where.apiKey);
  http.headers.emplace_back("Content-Type", "application/json");
  http.headers.emplace_back("Accept", "text/event-stream");
  for (const auto& header : where.extraHeaders) http.headers.push_back(header);
  http.body = requestBody(request);
  ChatCompletionsStreamDecoder decoder(provider_);
  if (auto failure = streamJSONEvents(http_, http, request.transportRetryPolicy, stop, decoder, emit)) {
    raise(request, *failure);
  }
}

}  // namespace zephyl::ai
