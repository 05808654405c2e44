#include "notes_store/library_export_note_id.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace zephyl::notes_store {

std::string LibraryExportNoteId::text() const {
  std::string whole;
  whole.reserve(size());
  return (whole += shared) += own;
}

LibraryExportNoteId::LibraryExportNoteId(std::string_view sharedPart, int64_t key) : shared(sharedPart) {
  const auto [end, error] = std::to_chars(digits_, digits_ + sizeof digits_, key);
  own = {digits_, static_cast<size_t>(end - digits_)};
}

LibraryExportNoteId& LibraryExportNoteId::operator=(const LibraryExportNoteId& other) {
  if (this == &other) return *this;
  shared = other.shared;
  own = other.own;
  if (own.data() == other.digits_) {
    std::memcpy(digits_, other.digits_, own.size());
    own = {digits_, own.size()};
  }
  return *this;
}

int LibraryExportNoteId::compare(const LibraryExportNoteId& other) const {
  if (shared == other.shared) return own.compare(other.own);
  // A piece at a time, where the pieces of the two end at different places.
  const std::string_view mine[] = {shared, own};
  const std::string_view theirs[] = {other.shared, other.own};
  size_t m = 0, t = 0, mAt = 0, tAt = 0;
  for (;;) {
    while (m < 2 && mAt == mine[m].size()) ++m, mAt = 0;
    while (t < 2 && tAt == theirs[t].size()) ++t, tAt = 0;
    if (m == 2 || t == 2) return (m == 2 ? 0 : 1) - (t == 2 ? 0 : 1);
    const size_t n = std::min(mine[m].size() - mAt, theirs[t].size() - tAt);
    if (const int order = mine[m].substr(mAt, n).compare(theirs[t].substr(tAt, n)); order != 0) return order;
    mAt += n;
    tAt += n;
  }
}

LibraryExportNoteId splitNoteId(std::string_view id) {
  size_t digits = id.size();
  while (digits > 0 && id[digits - 1] >= '0' && id[digits - 1] <= '9') --digits;
  if (digits == id.size()) return {{}, id};
  return {id.substr(0, digits), id.substr(digits)};
}

}  // namespace zephyl::notes_store
