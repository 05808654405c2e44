#include "ai/google_generate_content_stream_decoder.h"

#include "ai/ai_stream_chunk.h"

namespace zephyl::ai {
namespace {

using core::JSONValue;

std::optional<int64_t> count(const JSONValue& object, std::string_view key) {
  const JSONValue* value = object.find(key);
  return value == nullptr ? std::nullopt : value->integer();
}

bool isPlainText(const JSONValue& part) {
  return part.object() != nullptr && part.object()->size() == 1 && part.find("text") != nullptr;
}

}  // namespace

AIReportedUsage googleReportedUsage(const JSONValue& usageMetadata) {
  AIReportedUsage usage;
  usage.inputTokens = count(usageMetadata, "promptTokenCount");
  usage.cachedInputTokens = count(usageMetadata, "cachedContentTokenCount");
  usage.reasoningTokens = count(usageMetadata, "thoughtsTokenCount");
  usage.totalTokens = count(usageMetadata, "totalTokenCount");
  if (auto candidates = count(usageMetadata, "candidatesTokenCount")) {
    usage.outputTokens = *candidates + usage.reasoningTokens.value_or(0);
  } else {
    usage.outputTokens = usage.reasoningTokens;
  }
  return usage;
}

void GoogleGenerateContentStreamDecoder::decode(std::string_view data, const Emit& emit) {
  if (ended()) return;
  AIStreamChunk read = readStreamChunk(data);
  failure_ = std::move(read.failure);
  if (!read.value) return;
  const JSONValue& chunk = *read.value;
  if (const JSONValue* id = chunk.find("responseId"); id != nullptr && id->string() != nullptr) {
    responseID_ = *id->string();
    if (!sentRequestID_) {
      sentRequestID_ = true;
      emit(AIStreamEvent::RequestID{*responseID_});
    }
  }
  if (const JSONValue* metadata = chunk.find("usageMetadata"); metadata != nullptr && metadata->object()) {
    usage_ = googleReportedUsage(*metadata);
  }
  const JSONValue* candidates = chunk.find("candidates");
  if (candidates == nullptr || candidates->array() == nullptr || candidates->array()->empty()) return;
  const JSONValue& candidate = candidates->array()->front();
  if (const JSONValue* content = candidate.find("content"); content != nullptr) {
    if (const JSONValue* parts = content->find("parts"); parts != nullptr && parts->array() != nullptr) {
      for (const JSONValue& part : *parts->array()) {
        const JSONValue* text = part.find("text");
        const bool thought =
            part.find("thought") != nullptr && part.find("thought")->boolean().value_or(false);
        if (text != nullptr && text->string() != nullptr && !text->string()->empty()) {
          if (thought) {
            emit(AIStreamEvent::ReasoningSummaryDelta{*text->string()});
          } else {
            answered_ = true;
            emit(AIStreamEvent::AssistantMessageDelta{*text->string()});
          }
        }
        if (part.find("functionCall") != nullptr) calledFunction_ = true;
        keepPart(part);
      }
    }
  }
  if (const JSONValue* reason = candidate.find("finishReason");
      reason != nullptr && reason->string() != nullptr) {
    finishReason_ = *reason->string();
  }
}

void GoogleGenerateContentStreamDecoder::keepPart(const JSONValue& part) {
  const bool hasSignature = part.find("thoughtSignature") != nullptr;
  if (hasSignature || part.find("functionCall") != nullptr) {
    partsToReplay_ = true;
    parts_.push_back(part);
    return;
  }
  if (!isPlainText(part) || part.find("text")->string() == nullptr)
    return;  // unsigned thoughts are not sent back
  // The answer's pieces go back as one text part, not one per chunk.
  if (!parts_.empty() && isPlainText(parts_.back())) {
    JSONValue& last = parts_.back();
    last.set("text", *last.find("text")->string() + *part.find("text")->string());
  } else {
    parts_.push_back(part);
  }
}

std::optional<AIStreamFailure> GoogleGenerateContentStreamDecoder::closingFailure() const {
  using Code = AIServiceError::Code;
  if (failure_) return failure_;
  if (!finishReason_) return AIStreamFailure{Code::kBrokenStream, {}};
  if (*finishReason_ == "MALFORMED_FUNCTION_CALL") return AIStreamFailure{Code::kMalformedToolCall, {}};
  if (*finishReason_ != "STOP") return AIStreamFailure{Code::kResponseIncomplete, *finishReason_};
  if (!answered_ && !calledFunction_) return AIStreamFailure{Code::kEmptyResponse, {}};
  return std::nullopt;
}

std::optional<AIStreamFailure> GoogleGenerateContentStreamDecoder::finish(const Emit& emit) {
  auto failure = closingFailure();
  if (!failure && partsToReplay_) {
    JSONValue turn = JSONValue::Object{{"role", "model"}, {"parts", parts_}};
    emit(AIStreamEvent::ProviderResponseItems{
        {AIProviderResponseItem{AIProvider::kGoogleAPI, std::move(turn), responseID_}}});
  }
  if (usage_) emit(AIStreamEvent::UsageReported{*usage_});
  if (!failure) emit(AIStreamEvent::Completed{});
  return failure;
}

}  // namespace zephyl::ai
