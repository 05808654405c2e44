#include "navigation/quick_open_result_snippet.h"

#include <unicode/uchar.h>

#include <algorithm>

#include "core/utf8.h"

namespace zephyl::navigation {
namespace {

// White space and line breaks: the White_Space property, which covers tab
// through carriage return, U+0085, U+2028 and U+2029.
bool isBlank(char32_t c) { return u_isUWhiteSpace(static_cast<UChar32>(c)) != 0; }

// The ASCII part of White_Space: tab through carriage return, and space.
bool isAsciiBlank(unsigned char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

std::u32string_view trimmed(std::u32string_view text) {
  size_t begin = 0;
  size_t end = text.size();
  while (begin < end && isBlank(text[begin])) ++begin;
  while (end > begin && isBlank(text[end - 1])) --end;
  return text.substr(begin, end - begin);
}

std::u32string cleaned(std::u32string_view text) {
  std::u32string out;
  out.reserve(text.size());
  bool pendingBlank = false;
  for (const char32_t c : text) {
    if (isBlank(c)) {
      pendingBlank = !out.empty();
      continue;
    }
    if (pendingBlank) out += U' ';
    pendingBlank = false;
    out += c;
  }
  return out;
}

}  // namespace

std::string cleanSnippetText(std::string_view text) {
  // Works on the UTF-8 bytes: every body passes through here when the search
  // text is built, and decoding each to code points and back costs more than
  // the search itself. Ill-formed input is repaired first, as decoding would.
  if (!core::isValidUtf8(text)) return cleanSnippetText(core::replaceInvalidUtf8(text));
  std::string out;
  out.reserve(text.size());
  bool pendingBlank = false;
  size_t i = 0;
  while (i < text.size()) {
    const unsigned char byte = static_cast<unsigned char>(text[i]);
    size_t length = 1;
    bool blank = false;
    if (byte < 0x80) {
      blank = isAsciiBlank(byte);
      // A run of ASCII that is not blank is copied in one piece.
      while (!blank && i + length < text.size() && static_cast<unsigned char>(text[i + length]) < 0x80 &&
             !isAsciiBlank(static_cast<unsigned char>(text[i + length])))
        ++length;
    } else {
      length = core::validSequenceLength(text, i);
      char32_t codePoint = byte & (0xFF >> (length + 1));
      for (size_t k = 1; k < length; ++k)
        codePoint = (codePoint << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3F);
      blank = isBlank(codePoint);
    }
    if (blank) {
      pendingBlank = !out.empty();
    } else {
      if (pendingBlank) out += ' ';
      pendingBlank = false;
      out.append(text.data() + i, length);
    }
    i += length;
  }
  return out;
}

std::string makeResultSnippet(std::string_view text, std::string_view query, int maxLength,
                              const core::SearchTextFolder& folder) {
  const std::u32string clean = cleaned(core::decodeUtf8(text));
  if (maxLength < 1 || clean.size() <= static_cast<size_t>(maxLength)) return core::encodeUtf8(clean);

  size_t anchor = 0;
  const std::u32string decodedQuery = core::decodeUtf8(query);
  const std::u32string_view trimmedQuery = trimmed(decodedQuery);
  if (!trimmedQuery.empty()) {
    const std::string foldedQuery = folder.fold(core::encodeUtf8(trimmedQuery));
    const core::SearchTextFolder::MappedText mapped = folder.foldMapped(clean);
    const size_t found = foldedQuery.empty() ? std::string::npos : mapped.folded.find(foldedQuery);
    if (found != std::string::npos) anchor = mapped.sourceIndex[found];
  }

  const size_t start = anchor > 32 ? anchor - std::min<size_t>(anchor, 36) : anchor;
  const size_t end = std::min(clean.size(), start + static_cast<size_t>(maxLength));
  std::string snippet = core::encodeUtf8(trimmed(std::u32string_view(clean).substr(start, end - start)));
  if (start > 0) snippet = "..." + snippet;
  if (end < clean.size()) snippet += "...";
  return snippet;
}

}  // namespace zephyl::navigation
