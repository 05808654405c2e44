// UTF-8 decoding with replacement, as the readers of outside bytes need it.
#pragma once

#include <string>
#include <string_view>

namespace zephyl::ai::internal {

// `bytes` as valid UTF-8: each maximal invalid subsequence becomes U+FFFD.
// Valid input is returned unchanged.
std::string decodeUtf8Replacing(std::string_view bytes);

}  // namespace zephyl::ai::internal
