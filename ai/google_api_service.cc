#include "ai/google_api_service.h"

#include "ai/ai_json_stream_decoder.h"
#include "ai/ai_model_catalog.h"
#include "ai/ai_service_endpoint.h"
#include "ai/ai_settings_keys.h"
#include "ai/environment_credential_store.h"
#include "ai/google_generate_content_request_body.h"
#include "ai/google_generate_content_stream_decoder.h"

namespace zephyl::ai {
namespace {

using core::JSONValue;

// The calls of a model turn: its "functionCall" parts ({"name", "args", "id"?}).
std::vector<AIFunctionCall> functionCallsOf(const JSONValue& turn) {
  std::vector<AIFunctionCall> calls;
  const JSONValue* parts = turn.find("parts");
  if (parts == nullptr || parts->array() == nullptr) return calls;
  for (const JSONValue& part : *parts->array()) {
    const JSONValue* call = part.find("functionCall");
    if (call == nullptr) continue;
    const JSONValue* name = call->find("name");
    const JSONValue* id = call->find("id");
    const JSONValue* args = call->find("args");
    // Older models give no id: the position names the call.
    calls.push_back({id != nullptr && id->string() != nullptr ? *id->string()
                                                              : "call-" + std::to_string(calls.size() + 1),
                     name != nullptr && name->string() != nullptr ? *name->string() : std::string(),
                     args != nullptr ? args->serialized() : "{}"});
  }
  return calls;
}

void giveFunctionResponsesBack(const JSONValue& turn, const std::vector<AIFunctionCallOutput>& outputs,
                               JSONValue::Array& continuation) {
  continuation.push_back(turn);
  JSONValue::Array parts;
  for (const AIFunctionCallOutput& output : outputs) {
    JSONValue response =
        JSONValue::Object{{"name", output.name}, {"response", JSONValue::Object{{"result", output.output}}}};
    if (!output.callID.starts_with("call-")) response.set("id", output.callID);
    parts.push_back(JSONValue::Object{{"functionResponse", std::move(response)}});
  }
  continuation.push_back(JSONValue::Object{{"role", "user"}, {"parts", std::move(parts)}});
}

}  // namespace

GoogleAPIService::GoogleAPIService(AIHTTPClient& http, AICredentialStore& credentials,
                                   std::optional<std::string> baseURL)
    : http_(http), credentials_(credentials), baseURL_(baseURL.value_or(std::string(kDefaultBaseURL))) {}

std::string GoogleAPIService::url(const AIStreamRequest& request) const {
  return serviceURL(baseURL_, "/models/" + AIModelCatalog::serviceModelName(request.model) +
                                  ":streamGenerateContent?alt=sse");
}

std::string GoogleAPIService::requestBody(const AIStreamRequest& request) const {
  return requestBody(request, {});
}

std::string GoogleAPIService::requestBody(const AIStreamRequest& request,
                                          const core::JSONValue::Array& continuation) const {
  // The catalogue gives a default effort exactly to the models that take a thinking setting.
  const bool takesThinking = AIModelCatalog().defaultReasoningEffort(request.model).has_value();
  AIEncodedRequestBody encoded = encodeGoogleGenerateContentRequestBody(
      request, AIModelCatalog::serviceModelName(request.model), takesThinking,
      functionToolDefinitions(request, true), continuation);
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
  AIJSONToolRounds rounds;
  rounds.body = [&](const JSONValue::Array& continuation) { return requestBody(request, continuation); };
  rounds.decoder = [] { return std::make_unique<GoogleGenerateContentStreamDecoder>(); };
  rounds.calls = functionCallsOf;
  rounds.giveBack = giveFunctionResponsesBack;
  // A replayed function call needs its response beside it: the answer's own turn is kept.
  rounds.keepsEveryRound = false;
  if (auto failure = streamJSONEventsWithTools(http_, std::move(http), request, true, stop, rounds, emit)) {
    throw GoogleAPIServiceError(*failure);
  }
}

}  // namespace zephyl::ai
