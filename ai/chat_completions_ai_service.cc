#include "ai/chat_completions_ai_service.h"

#include "ai/ai_json_stream_decoder.h"
#include "ai/ai_model_catalog.h"
#include "ai/ai_service_endpoint.h"
#include "ai/chat_completions_stream_decoder.h"
#include "ai/environment_credential_store.h"

namespace zephyl::ai {

namespace {

using core::JSONValue;

const std::string* stringAt(const JSONValue& object, std::string_view key) {
  const JSONValue* value = object.find(key);
  return value == nullptr ? nullptr : value->string();
}

// The calls of an assistant message: "tool_calls" [{"id", "function": {"name", "arguments"}}].
std::vector<AIFunctionCall> toolCallsOf(const JSONValue& message) {
  std::vector<AIFunctionCall> calls;
  const JSONValue* toolCalls = message.find("tool_calls");
  if (toolCalls == nullptr || toolCalls->array() == nullptr) return calls;
  for (const JSONValue& call : *toolCalls->array()) {
    const JSONValue* function = call.find("function");
    if (function == nullptr) continue;
    const std::string* id = stringAt(call, "id");
    const std::string* name = stringAt(*function, "name");
    const std::string* arguments = stringAt(*function, "arguments");
    calls.push_back({id ? *id : std::string(), name ? *name : std::string(), arguments ? *arguments : "{}"});
  }
  return calls;
}

void giveToolOutputsBack(const JSONValue& message, const std::vector<AIFunctionCallOutput>& outputs,
                         JSONValue::Array& continuation) {
  continuation.push_back(message);
  for (const AIFunctionCallOutput& output : outputs) {
    continuation.push_back(
        JSONValue::Object{{"role", "tool"}, {"tool_call_id", output.callID}, {"content", output.output}});
  }
}

}  // namespace

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
  AIEncodedRequestBody encoded = encodeChatCompletionsRequestBody(request, where.modelName, where.dialect,
                                                                  functionToolDefinitions(request, true));
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
  const std::vector<JSONValue> tools = functionToolDefinitions(request, true);
  AIJSONToolRounds rounds;
  rounds.body = [&](const JSONValue::Array& continuation) {
    AIEncodedRequestBody encoded =
        encodeChatCompletionsRequestBody(request, where.modelName, where.dialect, tools, continuation);
    if (encoded.failure) raise(request, *encoded.failure);
    return std::move(encoded.body);
  };
  rounds.decoder = [this] { return std::make_unique<ChatCompletionsStreamDecoder>(provider_); };
  rounds.calls = toolCallsOf;
  rounds.giveBack = giveToolOutputsBack;
  if (auto failure = streamJSONEventsWithTools(http_, std::move(http), request, true, stop, rounds, emit)) {
    raise(request, *failure);
  }
}

}  // namespace zephyl::ai
