#include "notes_store/library_export_note_id.h"

#include <gtest/gtest.h>

#include <vector>

namespace zephyl::notes_store {
namespace {

int sign(int value) { return (value > 0) - (value < 0); }

// However two ids are cut into pieces, they compare as the whole texts do.
TEST(LibraryExportNoteId, ComparesAsTheWholeIdsWhereverThePiecesEnd) {
  const char* ids[] = {
      "x-coredata://S/ICNote/p9",
      "x-coredata://S/ICNote/p10",
      "x-coredata://S/ICNote/p1",
      "x-coredata://T/ICNote/p1",
      "x-coredata://S/ICNote/p",
      "x-coredata://S/ICNote/p10x",
      "",
      "x-coredata://S/ICNote",
      "x-coredata://S/ICNote/q1",
  };
  for (const std::string_view a : ids) {
    for (const std::string_view b : ids) {
      const int expected = sign(a.compare(b));
      for (size_t cutA = 0; cutA <= a.size(); cutA += a.size() > 4 ? a.size() / 4 : 1) {
        for (size_t cutB = 0; cutB <= b.size(); cutB += b.size() > 3 ? b.size() / 3 : 1) {
          const LibraryExportNoteId x(a.substr(0, cutA), a.substr(cutA));
          const LibraryExportNoteId y(b.substr(0, cutB), b.substr(cutB));
          EXPECT_EQ(sign(x.compare(y)), expected) << a << " | " << cutA << " vs " << b << " | " << cutB;
          EXPECT_EQ(x == y, expected == 0);
        }
      }
    }
    EXPECT_EQ(splitNoteId(a).text(), a);
  }
  EXPECT_EQ(splitNoteId("x-coredata://S/ICNote/p123").own, "123");
  EXPECT_EQ(splitNoteId("no number").own, "no number");
}

// An id made from a key holds its own part: a copy, however made, reads the
// same once the id it was copied from holds another.
TEST(LibraryExportNoteId, ACopyOfAnIdMadeFromAKeyIsItsOwn) {
  LibraryExportNoteId original("x-coredata://S/ICNote/p", 123);
  const LibraryExportNoteId constructed = original;
  LibraryExportNoteId assigned;
  assigned = original;
  std::vector<LibraryExportNoteId> kept{original};
  kept.reserve(kept.capacity() + 1);  // moved to new room
  original = LibraryExportNoteId("x-coredata://S/ICNote/p", 98765);
  for (const LibraryExportNoteId& id : {constructed, assigned, kept[0]}) {
    EXPECT_EQ(id.text(), "x-coredata://S/ICNote/p123");
  }
  EXPECT_EQ(original.text(), "x-coredata://S/ICNote/p98765");
  EXPECT_EQ(LibraryExportNoteId("", int64_t{0}).text(), "0");
}

}  // namespace
}  // namespace zephyl::notes_store
