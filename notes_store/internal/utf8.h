// UTF-8 checks for decoded note text. Text arrives as raw protobuf payloads, so it
// is validated before it is used; run lengths count UTF-16 code units, so the
// validator measures that length on the way.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace zephyl::notes_store::internal {

// The length of `text` in UTF-16 code units when it is well-formed UTF-8 (no
// overlong forms, no surrogates, nothing above U+10FFFF), else nullopt.
std::optional<size_t> utf16LengthOfValidUtf8(std::string_view text);

inline bool isValidUtf8(std::string_view text) { return utf16LengthOfValidUtf8(text).has_value(); }

// `bytes` as UTF-8 with each maximal ill-formed subsequence replaced by U+FFFD,
// the Unicode-recommended way, so that a damaged identifier still reads the same
// everywhere.
std::string decodeUtf8Lossy(std::string_view bytes);

}  // namespace zephyl::notes_store::internal
