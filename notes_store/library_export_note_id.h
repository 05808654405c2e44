// A note's id as an export keeps it, in two pieces: the part that every note
// of its store shares ("x-coredata://<store>/ICNote/p"), kept once, and the
// note's own ("<key>"). The shared part is most of an id; a library's worth of
// ids kept whole would cost more than their notes' titles.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zephyl::notes_store {

struct LibraryExportNoteId {
  std::string_view shared;
  std::string_view own;

  LibraryExportNoteId() = default;
  LibraryExportNoteId(std::string_view sharedPart, std::string_view ownPart)
      : shared(sharedPart), own(ownPart) {}
  // A whole id, as one piece.
  LibraryExportNoteId(std::string_view whole) : own(whole) {}
  LibraryExportNoteId(const char* whole) : own(whole) {}
  LibraryExportNoteId(const std::string& whole) : own(whole) {}
  // An id whose own part is `key` in decimal, written into the id itself: a
  // copy's own part is then the copy's.
  LibraryExportNoteId(std::string_view sharedPart, int64_t key);
  LibraryExportNoteId(const LibraryExportNoteId& other) { *this = other; }
  LibraryExportNoteId& operator=(const LibraryExportNoteId& other);

  size_t size() const { return shared.size() + own.size(); }
  std::string text() const;
  // As the whole ids compare, byte by byte.
  int compare(const LibraryExportNoteId& other) const;
  friend bool operator==(const LibraryExportNoteId& a, const LibraryExportNoteId& b) {
    return a.size() == b.size() && a.compare(b) == 0;
  }
  friend bool operator<(const LibraryExportNoteId& a, const LibraryExportNoteId& b) {
    return a.compare(b) < 0;
  }

 private:
  char digits_[20];  // the own part, where the id was made from a key
};

// `id` split before the number it ends in; all of it is the note's own when
// it ends in no number.
LibraryExportNoteId splitNoteId(std::string_view id);

}  // namespace zephyl::notes_store
