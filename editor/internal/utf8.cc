#include "editor/internal/utf8.h"

#include <cstdint>

namespace zephyl::editor::internal {

std::u32string decodeUtf8(std::string_view text) {
  std::u32string result;
  size_t i = 0;
  while (i < text.size()) {
    const auto byte = static_cast<unsigned char>(text[i]);
    size_t length = 0;
    char32_t minimum = 0;
    if (byte < 0x80) {
      result.push_back(byte);
      ++i;
      continue;
    }
    if ((byte & 0xE0) == 0xC0) {
      length = 2;
      minimum = 0x80;
    } else if ((byte & 0xF0) == 0xE0) {
      length = 3;
      minimum = 0x800;
    } else if ((byte & 0xF8) == 0xF0) {
      length = 4;
      minimum = 0x10000;
    }
    char32_t code = byte & (0x7F >> length);
    bool valid = length != 0 && i + length <= text.size();
    for (size_t k = 1; valid && k < length; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      valid = (next & 0xC0) == 0x80;
      code = (code << 6) | (next & 0x3F);
    }
    valid = valid && code >= minimum && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
    if (!valid) {
      result.push_back(0xFFFD);
      ++i;
      continue;
    }
    result.push_back(code);
    i += length;
  }
  return result;
}

std::string encodeUtf8(std::u32string_view text) {
  std::string result;
  for (char32_t code : text) {
    if (code < 0x80) {
      result.push_back(static_cast<char>(code));
    } else if (code < 0x800) {
      result.push_back(static_cast<char>(0xC0 | (code >> 6)));
      result.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else if (code < 0x10000) {
      result.push_back(static_cast<char>(0xE0 | (code >> 12)));
      result.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
      result.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else {
      result.push_back(static_cast<char>(0xF0 | (code >> 18)));
      result.push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
      result.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
      result.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    }
  }
  return result;
}

}  // namespace zephyl::editor::internal
