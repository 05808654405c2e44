#include "ai/chat_completions_request_body.h"

#include "ai/ai_attachment_data_url.h"
#include "ai/ai_stream_chunk.h"
#include "core/utf8.h"

namespace zephyl::ai {
namespace {

using core::JSONValue;

std::string_view roleName(AIHistoryMessage::Role role) {
  switch (role) {
    case AIHistoryMessage::Role::kUser:
      return "user";
    case AIHistoryMessage::Role::kAssistant:
      return "assistant";
    case AIHistoryMessage::Role::kSystem:
      return "system";
    // Tool results need the call they answer; as text they stay readable.
    case AIHistoryMessage::Role::kTool:
      return "user";
  }
  return "user";
}

bool isTextFile(const AIAttachment& attachment) {
  return (attachment.mediaType.starts_with("text/") || attachment.mediaType == "application/json") &&
         core::isValidUtf8(attachment.bytes);
}

JSONValue reasoningMember(ChatCompletionsReasoningForm form, ReasoningEffort effort) {
  switch (form) {
    case ChatCompletionsReasoningForm::kReasoningEffort:
      return JSONValue(rawValue(effort));
    case ChatCompletionsReasoningForm::kReasoningObject:
      return JSONValue::Object{{"effort", rawValue(effort)}};
    case ChatCompletionsReasoningForm::kThinking:
      return JSONValue::Object{{"type", effort == ReasoningEffort::kNone ? "disabled" : "enabled"}};
  }
  return {};
}

std::string_view reasoningKey(ChatCompletionsReasoningForm form) {
  switch (form) {
    case ChatCompletionsReasoningForm::kReasoningEffort:
      return "reasoning_effort";
    case ChatCompletionsReasoningForm::kReasoningObject:
      return "reasoning";
    case ChatCompletionsReasoningForm::kThinking:
      return "thinking";
  }
  return {};
}

}  // namespace

std::string historyMessageText(const AIHistoryMessage& message) {
  std::string text;
  for (const auto& part : message.textParts) {
    if (trimmedStreamData(part).empty()) continue;
    if (!text.empty()) text += "\n\n";
    text += part;
  }
  return text;
}

AIEncodedRequestBody encodeChatCompletionsRequestBody(const AIStreamRequest& request,
                                                      std::string_view modelName,
                                                      const ChatCompletionsDialect& dialect,
                                                      const std::vector<JSONValue>& functionTools,
                                                      const JSONValue::Array& continuation) {
  using Code = AIServiceError::Code;
  if (trimmedStreamData(request.input).empty() && request.attachments.empty()) {
    return {{}, AIStreamFailure{Code::kEmptyPrompt, {}}};
  }
  JSONValue::Array messages;
  if (!trimmedStreamData(request.instructions).empty()) {
    messages.push_back(JSONValue::Object{{"role", "system"}, {"content", request.instructions}});
  }
  for (const auto& message : request.history) {
    std::string text = historyMessageText(message);
    if (text.empty()) continue;
    messages.push_back(JSONValue::Object{{"role", roleName(message.role)}, {"content", std::move(text)}});
  }
  if (request.attachments.empty()) {
    messages.push_back(JSONValue::Object{{"role", "user"}, {"content", request.input}});
  } else {
    JSONValue::Array parts;
    if (!request.input.empty()) parts.push_back(JSONValue::Object{{"type", "text"}, {"text", request.input}});
    for (const auto& attachment : request.attachments) {
      if (attachment.mediaType.starts_with("image/")) {
        if (!dialect.takesImages) return {{}, AIStreamFailure{Code::kImagesNotSupported, {}}};
        parts.push_back(JSONValue::Object{
            {"type", "image_url"},
            {"image_url",
             JSONValue::Object{{"url", attachmentDataURL(attachment.mediaType, attachment.bytes)}}}});
      } else if (isTextFile(attachment)) {
        parts.push_back(
            JSONValue::Object{{"type", "text"}, {"text", attachment.name + ":\n" + attachment.bytes}});
      } else {
        return {{}, AIStreamFailure{Code::kUnsupportedAttachment, attachment.name}};
      }
    }
    messages.push_back(JSONValue::Object{{"role", "user"}, {"content", std::move(parts)}});
  }
  messages.insert(messages.end(), continuation.begin(), continuation.end());

  JSONValue::Object body{{"model", modelName},
                         {"messages", std::move(messages)},
                         {"stream", true},
                         {"stream_options", JSONValue::Object{{"include_usage", true}}}};
  if (request.reasoningEffort) {
    body.emplace_back(reasoningKey(dialect.reasoningForm),
                      reasoningMember(dialect.reasoningForm, *request.reasoningEffort));
  }
  if (dialect.takesTools && !functionTools.empty()) {
    JSONValue::Array tools;
    for (const auto& tool : functionTools) {
      JSONValue function = JSONValue::Object{};
      for (std::string_view key : {"name", "description", "parameters"}) {
        if (const JSONValue* value = tool.find(key)) function.set(std::string(key), *value);
      }
      tools.push_back(JSONValue::Object{{"type", "function"}, {"function", std::move(function)}});
    }
    body.emplace_back("tools", std::move(tools));
    body.emplace_back("tool_choice", "auto");
    // One notes query per answer: the tool's results are not independent.
    body.emplace_back("parallel_tool_calls", false);
  }
  return {JSONValue(std::move(body)).serialized(), std::nullopt};
}

}  // namespace zephyl::ai
