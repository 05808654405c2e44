// Base64 (RFC 4648): in the standard alphabet with padding, how services carry
// image and file bytes inside JSON, as data URLs on the way out and as plain
// base64 strings on the way back; in the URL alphabet without padding, what
// OAuth sign-in uses (PKCE, the parts of a JWT).
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zephyl::core {

enum class Base64Alphabet {
  kStandard,  // "+" and "/", padded with "="
  kURL,       // "-" and "_", not padded
};

std::string base64Encode(std::string_view bytes, Base64Alphabet alphabet = Base64Alphabet::kStandard);

// The bytes of `text`, or nullopt when it is not base64 in `alphabet`. Padding
// may be left out; white space (services wrap long values) is skipped.
std::optional<std::string> base64Decode(std::string_view text,
                                        Base64Alphabet alphabet = Base64Alphabet::kStandard);

}  // namespace zephyl::core
