#include "ai/internal/utf8.h"

#include <cstdint>

namespace zephyl::ai::internal {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// Length of the well-formed sequence at `i`; when there is none, 0 and in
// `invalidLength` the length of the maximal prefix of one that must be replaced
// as a unit (at least 1).
size_t sequenceLength(std::string_view text, size_t i, size_t& invalidLength) {
  const auto b0 = static_cast<uint8_t>(text[i]);
  invalidLength = 1;
  if (b0 < 0x80) return 1;
  size_t length;
  uint8_t low = 0x80, high = 0xBF;  // the allowed range of the second byte
  if (b0 >= 0xC2 && b0 <= 0xDF) {
    length = 2;
  } else if (b0 >= 0xE0 && b0 <= 0xEF) {
    length = 3;
    if (b0 == 0xE0) low = 0xA0;
    if (b0 == 0xED) high = 0x9F;  // no surrogates
  } else if (b0 >= 0xF0 && b0 <= 0xF4) {
    length = 4;
    if (b0 == 0xF0) low = 0x90;
    if (b0 == 0xF4) high = 0x8F;
  } else {
    return 0;
  }
  for (size_t k = 1; k < length; ++k) {
    if (i + k >= text.size()) return 0;
    const auto b = static_cast<uint8_t>(text[i + k]);
    const uint8_t lo = k == 1 ? low : 0x80;
    const uint8_t hi = k == 1 ? high : 0xBF;
    if (b < lo || b > hi) return 0;
    invalidLength = k + 1;
  }
  return length;
}

}  // namespace

std::string decodeUtf8Replacing(std::string_view bytes) {
  size_t i = 0;
  // Fast path: most service output is ASCII or valid UTF-8.
  size_t invalid = 0;
  while (i < bytes.size()) {
    if (static_cast<uint8_t>(bytes[i]) < 0x80) {
      ++i;
      continue;
    }
    const size_t length = sequenceLength(bytes, i, invalid);
    if (length == 0) break;
    i += length;
  }
  if (i == bytes.size()) return std::string(bytes);

  std::string out;
  out.reserve(bytes.size() + 8);
  out.append(bytes.substr(0, i));
  while (i < bytes.size()) {
    const size_t length = sequenceLength(bytes, i, invalid);
    if (length == 0) {
      out.append(kReplacement);
      i += invalid;
    } else {
      out.append(bytes.substr(i, length));
      i += length;
    }
  }
  return out;
}

}  // namespace zephyl::ai::internal
