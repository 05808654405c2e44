#include "ai/chat_completions_stream_decoder.h"

#include "ai/ai_stream_chunk.h"

namespace zephyl::ai {
namespace {

using core::JSONValue;

const std::string* stringMember(const JSONValue& object, std::string_view key) {
  const JSONValue* value = object.find(key);
  return value == nullptr ? nullptr : value->string();
}

}  // namespace

void ChatCompletionsStreamDecoder::decode(std::string_view data, const Emit& emit) {
  if (ended()) return;
  if (trimmedStreamData(data) == "[DONE]") {
    done_ = true;
    return;
  }
  AIStreamChunk read = readStreamChunk(data);
  failure_ = std::move(read.failure);
  if (!read.value) return;
  const JSONValue& chunk = *read.value;
  if (const std::string* id = stringMember(chunk, "id"); id != nullptr && !id->empty()) {
    responseID_ = *id;
    if (!sentRequestID_) {
      sentRequestID_ = true;
      emit(AIStreamEvent::RequestID{*id});
    }
  }
  // Usage comes on its own chunk with empty choices, or on the finishing chunk.
  if (auto report = parseReportedUsage(chunk)) usage_ = report->usage;
  const JSONValue* choices = chunk.find("choices");
  if (choices == nullptr || choices->array() == nullptr) return;
  for (const JSONValue& choice : *choices->array()) {
    const JSONValue* index = choice.find("index");
    if (index == nullptr || index->integer().value_or(0) == 0) decodeChoice(choice, emit);
  }
}

void ChatCompletionsStreamDecoder::decodeChoice(const JSONValue& choice, const Emit& emit) {
  if (const JSONValue* delta = choice.find("delta"); delta != nullptr) {
    for (std::string_view key : {"reasoning_content", "reasoning"}) {
      if (const std::string* reasoning = stringMember(*delta, key); reasoning && !reasoning->empty()) {
        emit(AIStreamEvent::ReasoningSummaryDelta{*reasoning});
        break;
      }
    }
    // A refusal is shown as the answer: the user should read why.
    for (std::string_view key : {"content", "refusal"}) {
      if (const std::string* content = stringMember(*delta, key); content && !content->empty()) {
        answer_ += *content;
        emit(AIStreamEvent::AssistantMessageDelta{*content});
      }
    }
    const JSONValue* toolCalls = delta->find("tool_calls");
    if (toolCalls != nullptr && toolCalls->array() != nullptr) {
      for (const JSONValue& fragment : *toolCalls->array()) {
        const JSONValue* index = fragment.find("index");
        ToolCall& call = toolCalls_[index == nullptr ? 0 : index->integer().value_or(0)];
        if (const std::string* id = stringMember(fragment, "id"); id && !id->empty()) call.id = *id;
        if (const JSONValue* function = fragment.find("function"); function != nullptr) {
          if (const std::string* name = stringMember(*function, "name"); name && call.name.empty())
            call.name = *name;
          if (const std::string* arguments = stringMember(*function, "arguments"))
            call.arguments += *arguments;
        }
      }
    }
  }
  if (const std::string* reason = stringMember(choice, "finish_reason"); reason && !reason->empty()) {
    finishReason_ = *reason;
  }
}

std::optional<AIStreamFailure> ChatCompletionsStreamDecoder::closingFailure() const {
  using Code = AIServiceError::Code;
  if (failure_) return failure_;
  if (!done_ && !finishReason_) return AIStreamFailure{Code::kBrokenStream, {}};
  for (const auto& [index, call] : toolCalls_) {
    const std::string_view arguments = trimmedStreamData(call.arguments);
    if (call.name.empty()) return AIStreamFailure{Code::kMalformedToolCall, {}};
    if (arguments.empty()) continue;
    try {
      if (JSONValue::parse(arguments).object() == nullptr)
        return AIStreamFailure{Code::kMalformedToolCall, {}};
    } catch (const core::JSONValueError&) {
      return AIStreamFailure{Code::kMalformedToolCall, {}};
    }
  }
  if (finishReason_) {
    const std::string& reason = *finishReason_;
    if (reason == "error")
      return AIStreamFailure{Code::kResponseFailed, "the service ended the answer with an error"};
    if (reason != "stop" && reason != "tool_calls" && reason != "function_call") {
      return AIStreamFailure{Code::kResponseIncomplete, reason};
    }
  }
  if (answer_.empty() && toolCalls_.empty()) return AIStreamFailure{Code::kEmptyResponse, {}};
  return std::nullopt;
}

std::optional<AIStreamFailure> ChatCompletionsStreamDecoder::finish(const Emit& emit) {
  auto failure = closingFailure();
  if (!failure && !toolCalls_.empty()) {
    // The assistant turn in the form the service takes back with the tool results.
    JSONValue::Array calls;
    for (const auto& [index, call] : toolCalls_) {
      calls.push_back(JSONValue::Object{
          {"id", call.id},
          {"type", "function"},
          {"function",
           JSONValue::Object{
               {"name", call.name},
               {"arguments", trimmedStreamData(call.arguments).empty() ? "{}" : call.arguments}}}});
    }
    JSONValue message = JSONValue::Object{{"role", "assistant"},
                                          {"content", answer_.empty() ? JSONValue() : JSONValue(answer_)},
                                          {"tool_calls", std::move(calls)}};
    emit(AIStreamEvent::ProviderResponseItems{
        {AIProviderResponseItem{provider_, std::move(message), responseID_}}});
  }
  if (usage_) emit(AIStreamEvent::UsageReported{*usage_});
  if (!failure) emit(AIStreamEvent::Completed{});
  return failure;
}

}  // namespace zephyl::ai
