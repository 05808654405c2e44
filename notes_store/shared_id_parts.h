// The shared parts of note ids (LibraryExportNoteId::shared) kept once, each
// under a number that a note keeps in two bytes instead of a view. A program
// meets a store or two, so a part is never let go; a full table, which only
// thousands of ids of no usual form would fill, numbers no more, and whoever
// asked keeps such a part itself.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

namespace zephyl::notes_store {

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
