// UTF-8 as the system meets it: note text arriving as raw protobuf payloads,
// server-sent events split at arbitrary bytes, typed characters, JSON output.
// Ill-formed input is either rejected (validation) or repaired the
// Unicode-recommended way: each maximal ill-formed subsequence becomes U+FFFD.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace zephyl::core {

// The length of `text` in UTF-16 code units when it is well-formed UTF-8 (no
// overlong forms, no surrogates, nothing above U+10FFFF), else nullopt.
std::optional<size_t> utf16LengthOfValidUtf8(std::string_view text);

inline bool isValidUtf8(std::string_view text) { return utf16LengthOfValidUtf8(text).has_value(); }

// The length of the well-formed sequence that starts at `position`, or 0 when
// the bytes there do not form one. `position` must be inside `text`.
size_t validSequenceLength(std::string_view text, size_t position);

// `bytes` with each maximal ill-formed subsequence replaced by U+FFFD; valid
// input comes back unchanged.
std::string replaceInvalidUtf8(std::string_view bytes);

// Code points of `text`, ill-formed parts read as U+FFFD; and back.
std::u32string decodeUtf8(std::string_view text);
std::string encodeUtf8(std::u32string_view text);

// `text` without the white space and line breaks (Unicode White_Space: blanks,
// tabs, line feeds, no-break spaces, line separators, ...) at either end.
// Only the ends are decoded, so long texts cost nothing extra.
std::string_view trimWhiteSpace(std::string_view text);

}  // namespace zephyl::core
