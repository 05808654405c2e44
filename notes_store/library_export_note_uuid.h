// A note's UUID as an export keeps it: in the usual form, 8-4-4-4-12 hex
// digits in either case, as its 16 bytes rather than 36 characters; any other
// text as it is. An export only ever compares UUIDs without telling case
// apart, so one kept as bytes is given back in capitals.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace zephyl::notes_store {

using UuidBytes = std::array<uint8_t, 16>;

// The bytes `text` stands for; nullopt for anything but the usual form.
std::optional<UuidBytes> parseUuidBytes(std::string_view text);

class LibraryExportNoteUuid {
 public:
  static constexpr size_t kTextSize = 36;

  explicit LibraryExportNoteUuid(const UuidBytes& bytes);
  explicit LibraryExportNoteUuid(std::string_view text) : text_(text) {}

  std::string_view text() const { return fromBytes_ ? std::string_view(buffer_, kTextSize) : text_; }
  // The text may be in this value itself: a view of it lasts only as long
  // as the value, as for a temporary passed to a function taking text.
  operator std::string_view() const { return text(); }

 private:
  bool fromBytes_ = false;
  char buffer_[kTextSize];
  std::string_view text_;
};

}  // namespace zephyl::notes_store
