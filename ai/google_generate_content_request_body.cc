#include "ai/google_generate_content_request_body.h"

#include "ai/ai_stream_chunk.h"
#include "ai/chat_completions_request_body.h"
#include "core/base64.h"
#include "core/utf8.h"

namespace zephyl::ai {
namespace {

using core::JSONValue;

JSONValue textPart(std::string text) { return JSONValue::Object{{"text", std::move(text)}}; }

// The model turn this message left, if the service gave one to send back.
const JSONValue* replayedParts(const AIHistoryMessage& message) {
  for (const auto& item : message.providerItems) {
    if (item.provider != AIProvider::kGoogleAPI) continue;
    if (const JSONValue* parts = item.payload.find("parts"); parts != nullptr && parts->array() != nullptr) {
      return parts;
    }
  }
  return nullptr;
}

JSONValue thinkingConfig(std::string_view modelName, ReasoningEffort effort) {
  const bool thinks = effort != ReasoningEffort::kNone;
  // The 2.5 models take a token budget; later ones a level.
  if (modelName.starts_with("gemini-2.5")) {
    int budget = 0;
    switch (effort) {
      case ReasoningEffort::kNone:
        budget = 0;
        break;
      case ReasoningEffort::kLow:
        budget = 1024;
        break;
      case ReasoningEffort::kMedium:
        budget = 8192;
        break;
      case ReasoningEffort::kHigh:
      case ReasoningEffort::kXHigh:
      case ReasoningEffort::kMax:
        budget = 24576;
        break;
    }
    return JSONValue::Object{{"includeThoughts", thinks}, {"thinkingBudget", budget}};
  }
  std::string_view level = "high";
  switch (effort) {
    case ReasoningEffort::kNone:
      level = "minimal";
      break;
    case ReasoningEffort::kLow:
      level = "low";
      break;
    case ReasoningEffort::kMedium:
      level = "medium";
      break;
    case ReasoningEffort::kHigh:
    case ReasoningEffort::kXHigh:
    case ReasoningEffort::kMax:
      level = "high";
      break;
  }
  return JSONValue::Object{{"includeThoughts", thinks}, {"thinkingLevel", level}};
}

}  // namespace

AIEncodedRequestBody encodeGoogleGenerateContentRequestBody(const AIStreamRequest& request,
                                                            std::string_view modelName, bool takesThinking,
                                                            const std::vector<JSONValue>& functionTools,
                                                            const JSONValue::Array& continuation) {
  using Code = AIServiceError::Code;
  if (trimmedStreamData(request.input).empty() && request.attachments.empty()) {
    return {{}, AIStreamFailure{Code::kEmptyPrompt, {}}};
  }
  JSONValue::Array systemParts;
  if (!trimmedStreamData(request.instructions).empty()) systemParts.push_back(textPart(request.instructions));
  JSONValue::Array contents;
  for (const auto& message : request.history) {
    if (message.role == AIHistoryMessage::Role::kAssistant) {
      if (const JSONValue* parts = replayedParts(message)) {
        contents.push_back(JSONValue::Object{{"role", "model"}, {"parts", *parts}});
        continue;
      }
    }
    std::string text = historyMessageText(message);
    if (text.empty()) continue;
    if (message.role == AIHistoryMessage::Role::kSystem) {
      systemParts.push_back(textPart(std::move(text)));
      continue;
    }
    const std::string_view role = message.role == AIHistoryMessage::Role::kAssistant ? "model" : "user";
    contents.push_back(
        JSONValue::Object{{"role", role}, {"parts", JSONValue::Array{textPart(std::move(text))}}});
  }
  JSONValue::Array parts;
  if (!request.input.empty()) parts.push_back(textPart(request.input));
  for (const auto& attachment : request.attachments) {
    if (attachment.mediaType.starts_with("image/") || attachment.mediaType == "application/pdf") {
      parts.push_back(JSONValue::Object{
          {"inlineData", JSONValue::Object{{"mimeType", attachment.mediaType},
                                           {"data", core::base64Encode(attachment.bytes)}}}});
    } else if (attachment.mediaType.starts_with("text/") && core::isValidUtf8(attachment.bytes)) {
      parts.push_back(textPart(attachment.name + ":\n" + attachment.bytes));
    } else {
      return {{}, AIStreamFailure{Code::kUnsupportedAttachment, attachment.name}};
    }
  }
  contents.push_back(JSONValue::Object{{"role", "user"}, {"parts", std::move(parts)}});
  contents.insert(contents.end(), continuation.begin(), continuation.end());

  JSONValue::Object body;
  if (!systemParts.empty())
    body.emplace_back("systemInstruction", JSONValue::Object{{"parts", std::move(systemParts)}});
  body.emplace_back("contents", std::move(contents));
  if (!functionTools.empty()) {
    JSONValue::Array declarations;
    for (const auto& tool : functionTools) {
      JSONValue declaration = JSONValue::Object{};
      for (std::string_view key : {"name", "description"}) {
        if (const JSONValue* value = tool.find(key)) declaration.set(std::string(key), *value);
      }
      // The full JSON Schema form: the older "parameters" rejects "additionalProperties".
      if (const JSONValue* parameters = tool.find("parameters"))
        declaration.set("parametersJsonSchema", *parameters);
      declarations.push_back(std::move(declaration));
    }
    body.emplace_back("tools",
                      JSONValue::Array{JSONValue::Object{{"functionDeclarations", std::move(declarations)}}});
  }
  if (takesThinking && request.reasoningEffort) {
    body.emplace_back(
        "generationConfig",
        JSONValue::Object{{"thinkingConfig", thinkingConfig(modelName, *request.reasoningEffort)}});
  }
  return {JSONValue(std::move(body)).serialized(), std::nullopt};
}

}  // namespace zephyl::ai
