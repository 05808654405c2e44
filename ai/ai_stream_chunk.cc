#include "ai/ai_stream_chunk.h"

#include "core/logger.h"

namespace zephyl::ai {
namespace {

using core::JSONValue;

constexpr core::Logger kLog("AIStreamChunk");

const std::string* stringMember(const JSONValue& object, std::string_view key) {
  const JSONValue* value = object.find(key);
  return value == nullptr ? nullptr : value->string();
}

}  // namespace

std::string_view trimmedStreamData(std::string_view data) {
  const auto first = data.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return data.substr(first, data.find_last_not_of(" \t\r\n") - first + 1);
}

std::optional<JSONValue> streamChunkObject(std::string_view data) {
  const std::string_view text = trimmedStreamData(data);
  if (text.empty() || text.front() != '{') {
    if (!text.empty()) kLog.debug() << "Skipped non-JSON data of " << text.size() << " bytes";
    return std::nullopt;
  }
  return JSONValue::parse(text);
}

AIStreamChunk readStreamChunk(std::string_view data) {
  AIStreamChunk chunk;
  try {
    chunk.value = streamChunkObject(data);
  } catch (const core::JSONValueError& error) {
    kLog.warning() << "Unreadable chunk: " << error.description();
    chunk.failure = AIStreamFailure{AIServiceError::Code::kUnreadableResponse, {}};
    return chunk;
  }
  if (chunk.value && chunk.value->find("error") != nullptr && chunk.value->find("choices") == nullptr) {
    chunk.failure = AIStreamFailure{AIServiceError::Code::kResponseFailed, serviceErrorMessage(*chunk.value)};
    chunk.value.reset();
  }
  return chunk;
}

std::string serviceErrorMessage(const JSONValue& body) {
  const JSONValue* error = body.find("error");
  if (error != nullptr) {
    if (const std::string* text = error->string()) return *text;
    if (const std::string* message = stringMember(*error, "message"); message && !message->empty())
      return *message;
  }
  if (const std::string* message = stringMember(body, "message"); message && !message->empty())
    return *message;
  if (error != nullptr) {
    for (std::string_view key : {"code", "status", "type"}) {
      if (const JSONValue* code = error->find(key); code != nullptr && !code->isNull()) {
        return code->string() ? *code->string() : code->serialized();
      }
    }
  }
  return "unknown error";
}

}  // namespace zephyl::ai
