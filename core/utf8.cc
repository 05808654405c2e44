#include "core/utf8.h"

#include <unicode/uchar.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <utility>

namespace zephyl::core {
namespace {

constexpr uint64_t kHighBits = 0x8080808080808080ULL;
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// Examines the sequence that starts at `p` (p < end, *p >= 0x80). Returns its length
// when well-formed; otherwise 0 with `subpart` set to the length of the maximal
// ill-formed prefix (at least 1), the part that one U+FFFD replaces.
size_t multibyteSequence(const unsigned char* p, const unsigned char* end, size_t& subpart) {
  const unsigned char lead = p[0];
  size_t length = 0;
  // The range that the first continuation byte must fall in rules out overlong
  // forms, surrogates and values above U+10FFFF.
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    subpart = 1;
    return 0;
  }
  const size_t available = static_cast<size_t>(end - p);
  for (size_t i = 1; i < length; ++i) {
    if (i >= available) {
      subpart = i;
      return 0;
    }
    const unsigned char byte = p[i];
    const bool inRange = i == 1 ? (byte >= low && byte <= high) : isContinuation(byte);
    if (!inRange) {
      subpart = i;
      return 0;
    }
  }
  return length;
}

}  // namespace

std::optional<size_t> utf16LengthOfValidUtf8(std::string_view text) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const unsigned char* const end = p + text.size();
  size_t units = 0;
  while (p < end) {
    // Note text is mostly ASCII: take 32 bytes, then 8, at a time while it lasts.
    if (end - p >= 32) {
      uint64_t words[4];
      std::memcpy(words, p, sizeof words);
      if (((words[0] | words[1] | words[2] | words[3]) & kHighBits) == 0) {
        p += 32;
        units += 32;
        continue;
      }
    }
    if (end - p >= 8) {
      uint64_t word;
      std::memcpy(&word, p, sizeof word);
      if ((word & kHighBits) == 0) {
        p += 8;
        units += 8;
        continue;
      }
    }
    if (*p < 0x80) {
      ++p;
      ++units;
      continue;
    }
    size_t subpart = 0;
    const size_t length = multibyteSequence(p, end, subpart);
    if (length == 0) return std::nullopt;
    // Four-byte sequences lie above U+FFFF and take a surrogate pair.
    units += length == 4 ? 2 : 1;
    p += length;
  }
  return units;
}

std::string replaceInvalidUtf8(std::string_view bytes) {
  if (isValidUtf8(bytes)) return std::string(bytes);
  std::string text;
  text.reserve(bytes.size() + 8);
  const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
  const unsigned char* const end = p + bytes.size();
  while (p < end) {
    if (*p < 0x80) {
      text.push_back(static_cast<char>(*p++));
      continue;
    }
    size_t subpart = 0;
    const size_t length = multibyteSequence(p, end, subpart);
    if (length == 0) {
      text.append(kReplacement);
      p += subpart;
    } else {
      text.append(reinterpret_cast<const char*>(p), length);
      p += length;
    }
  }
  return text;
}

size_t validSequenceLength(std::string_view text, size_t position) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data()) + position;
  if (*p < 0x80) return 1;
  size_t subpart = 0;
  return multibyteSequence(p, reinterpret_cast<const unsigned char*>(text.data()) + text.size(), subpart);
}

std::u32string decodeUtf8(std::string_view text) {
  std::u32string result;
  result.reserve(text.size());
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const unsigned char* const end = p + text.size();
  while (p < end) {
    if (*p < 0x80) {
      result.push_back(*p++);
      continue;
    }
    size_t subpart = 0;
    const size_t length = multibyteSequence(p, end, subpart);
    if (length == 0) {
      result.push_back(0xFFFD);
      p += subpart;
      continue;
    }
    char32_t code = p[0] & (0x7F >> length);
    for (size_t k = 1; k < length; ++k) code = (code << 6) | (p[k] & 0x3F);
    result.push_back(code);
    p += length;
  }
  return result;
}

std::string encodeUtf8(std::u32string_view text) {
  std::string result;
  result.reserve(text.size());
  for (char32_t code : text) {
    if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) code = 0xFFFD;
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

namespace {

// The code point of the well-formed sequence at `position` with its length, or
// nullopt for an ill-formed one (which is never white space).
std::optional<std::pair<char32_t, size_t>> codePointAt(std::string_view text, size_t position) {
  const size_t length = validSequenceLength(text, position);
  if (length == 0) return std::nullopt;
  const auto lead = static_cast<unsigned char>(text[position]);
  char32_t c = length == 1 ? lead : lead & (0x7F >> length);
  for (size_t i = 1; i < length; ++i) c = (c << 6) | (static_cast<unsigned char>(text[position + i]) & 0x3F);
  return std::pair{c, length};
}

bool isWhiteSpaceAt(std::string_view text, size_t position, size_t* length) {
  const auto decoded = codePointAt(text, position);
  if (!decoded || u_isUWhiteSpace(static_cast<UChar32>(decoded->first)) == 0) return false;
  *length = decoded->second;
  return true;
}

}  // namespace

std::string_view trimWhiteSpace(std::string_view text) {
  size_t begin = 0;
  size_t length = 0;
  while (begin < text.size() && isWhiteSpaceAt(text, begin, &length)) begin += length;
  size_t end = text.size();
  while (end > begin) {
    size_t start = end - 1;  // back to the lead byte of the last sequence
    while (start > begin && end - start < 4 && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80)
      --start;
    if (!isWhiteSpaceAt(text, start, &length) || start + length != end) break;
    end = start;
  }
  return text.substr(begin, end - begin);
}

}  // namespace zephyl::core
