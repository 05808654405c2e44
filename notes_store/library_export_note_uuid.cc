#include "notes_store/library_export_note_uuid.h"

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

LibraryExportNoteUuid::LibraryExportNoteUuid(const UuidBytes& bytes) : fromBytes_(true) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  size_t nibble = 0;
  for (size_t i = 0; i < kTextSize; ++i) {
    if (isDashAt(i)) {
      buffer_[i] = '-';
      continue;
    }
    const uint8_t byte = bytes[nibble / 2];
    buffer_[i] = kDigits[nibble % 2 == 0 ? byte >> 4 : byte & 0xF];
    ++nibble;
  }
}

}  // namespace zephyl::notes_store
