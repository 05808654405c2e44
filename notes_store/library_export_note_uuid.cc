#include "notes_store/library_export_note_uuid.h"

#include <algorithm>
#include <cctype>
#include <string>

namespace zephyl::notes_store {

namespace {

// Where the dashes of the usual form are.
bool isDashAt(size_t i) { return i == 8 || i == 13 || i == 18 || i == 23; }

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::optional<UuidBytes> parseUuidBytes(std::string_view text) {
  if (text.size() != LibraryExportNoteUuid::kTextSize) return std::nullopt;
  UuidBytes bytes{};
  size_t nibble = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (isDashAt(i)) {
      if (text[i] != '-') return std::nullopt;
      continue;
    }
    const int value = hexValue(text[i]);
    if (value < 0) return std::nullopt;
    bytes[nibble / 2] = static_cast<uint8_t>(bytes[nibble / 2] << 4 | value);
    ++nibble;
  }
  return bytes;
}

LibraryExportNoteUuid LibraryExportNoteUuid::read(std::string_view text) {
  if (const std::optional<UuidBytes> bytes = parseUuidBytes(text)) return LibraryExportNoteUuid(*bytes);
  return LibraryExportNoteUuid(text);
}

std::string LibraryExportNoteUuid::text() const {
  if (!fromBytes_) return std::string(text_);
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text(kTextSize, '-');
  size_t nibble = 0;
  for (size_t i = 0; i < kTextSize; ++i) {
    if (isDashAt(i)) continue;
    const uint8_t byte = bytes_[nibble / 2];
    text[i] = kDigits[nibble % 2 == 0 ? byte >> 4 : byte & 0xF];
    ++nibble;
  }
  return text;
}

bool lessIgnoringCase(const LibraryExportNoteUuid& a, const LibraryExportNoteUuid& b) {
  // Hex digits in capitals sort as the values they stand for, and the dashes
  // stand at the same places: bytes compare as the texts would.
  if (a.fromBytes_ && b.fromBytes_) return a.bytes_ < b.bytes_;
  const std::string x = a.text(), y = b.text();
  return std::lexicographical_compare(
      x.begin(), x.end(), y.begin(), y.end(),
      [](unsigned char p, unsigned char q) { return std::toupper(p) < std::toupper(q); });
}

}  // namespace zephyl::notes_store
