// A note's id as an export keeps it, in two pieces: the part that every note
// of its store shares ("x-coredata://<store>/ICNote/p"), kept once, and the
// note's own ("<key>"). The shared part is most of an id; a library's worth of
// ids kept whole would cost more than their notes' titles.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

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

// Where `shared` is among the last few of `known`, the shared parts kept so
// far; known.size() when it is not. A library has one store, so one shared
// part as a rule, and looking at only the last few keeps a list of many from
// costing a look through it per id.
template <typename Texts>
size_t findSharedIdPart(const Texts& known, std::string_view shared) {
  constexpr size_t kLooked = 4;
  for (size_t i = known.size(); i > 0 && i + kLooked > known.size(); --i) {
    if (known[i - 1] == shared) return i - 1;
  }
  return known.size();
}

// Shared parts kept once, each under a number that a note keeps in two bytes
// instead of a view. A program meets a store or two, so a part is never let
// go; a full table (ids of a hundred stores, or of no usual form) numbers no
// more, and whoever asked keeps such a part itself.
class SharedIdParts {
 public:
  static constexpr uint16_t kNone = 0xFFFF;

  explicit SharedIdParts(size_t capacity);
  // The one every export uses.
  static SharedIdParts& program();

  // The number of `shared`, kNone when the table is full. Safe from any thread.
  uint16_t number(std::string_view shared);
  // The part numbered so. Safe from any thread that was given the number:
  // a numbered part never changes.
  std::string_view part(uint16_t number) const { return parts_[number]; }

 private:
  std::mutex mutex_;
  const size_t capacity_;
  std::unique_ptr<std::string_view[]> parts_;
  std::deque<std::string> texts_;  // where parts_ point; never moved
  std::unordered_map<std::string_view, uint16_t> numbers_;
};

}  // namespace zephyl::notes_store
