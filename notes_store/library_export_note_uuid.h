// A note's UUID as an export keeps it: in the usual form, 8-4-4-4-12 hex
// digits in either case, as its 16 bytes rather than 36 characters; any other
// text as it is. An export only ever compares UUIDs without telling case
// apart, so one kept as bytes is given back in capitals, and two kept as bytes
// are compared as bytes, in the order of their texts: a library's worth of
// them are sorted for the links between notes.
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

  explicit LibraryExportNoteUuid(const UuidBytes& bytes) : bytes_(bytes), fromBytes_(true) {}
  explicit LibraryExportNoteUuid(std::string_view text) : text_(text) {}
  // The usual form as bytes, anything else as text.
  static LibraryExportNoteUuid read(std::string_view text);

  std::string text() const;

  // Whether `a` comes before `b`, their texts compared without telling case apart.
  friend bool lessIgnoringCase(const LibraryExportNoteUuid& a, const LibraryExportNoteUuid& b);

 private:
  UuidBytes bytes_{};
  bool fromBytes_ = false;
  std::string_view text_;
};

}  // namespace zephyl::notes_store
