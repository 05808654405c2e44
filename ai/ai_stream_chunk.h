// Reading one server-sent event's data as a JSON chunk, the same way for every
// JSON-streaming service: keep-alive data that is no object (empty, "ping",
// "OK") is skipped, an object that does not parse is a broken response.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "ai/ai_service_error.h"
#include "core/json_value.h"

namespace zephyl::ai {

// `data` without surrounding white space and line ends.
std::string_view trimmedStreamData(std::string_view data);

// The object `data` holds, or nullopt for keep-alive data that is no object.
// Throws core::JSONValueError for data that starts an object and does not parse.
std::optional<core::JSONValue> streamChunkObject(std::string_view data);

// One event's data as a decoder takes it: no value for keep-alive data; a
// failure for an object that does not parse (kUnreadableResponse) or an
// {"error": ...} chunk without "choices" (kResponseFailed with its message).
struct AIStreamChunk {
  std::optional<core::JSONValue> value;
  std::optional<AIStreamFailure> failure;
};
AIStreamChunk readStreamChunk(std::string_view data);

// The message of an {"error": ...} body or chunk: "error.message", else "error"
// itself when it is text, else "message", else the error's code or status.
std::string serviceErrorMessage(const core::JSONValue& body);

}  // namespace zephyl::ai
