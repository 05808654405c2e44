#include "notes_store/library_export_note_id.h"

#include <algorithm>

namespace zephyl::notes_store {

std::string LibraryExportNoteId::text() const {
  std::string whole;
  whole.reserve(size());
  return (whole += shared) += own;
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
