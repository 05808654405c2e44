// Base64 (RFC 4648, standard alphabet with padding): how services carry image
// and file bytes inside JSON, as data URLs on the way out and as plain base64
// strings on the way back.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zephyl::core {

std::string base64Encode(std::string_view bytes);

// The bytes of `text`, or nullopt when it is not base64. Padding may be left
// out; white space (services wrap long values) is skipped.
std::optional<std::string> base64Decode(std::string_view text);

}  // namespace zephyl::core
