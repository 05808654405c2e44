#include "notes_store/library_export_earlier_files.h"

#include <gtest/gtest.h>

namespace zephyl::notes_store {
namespace {

struct Case {
  std::string title;
  std::string path;      // as the manifest records it
  std::string modified;  // likewise
};

NotesNoteRow noteRow(int64_t key, const std::string& title) {
  NotesNoteRow row;
  row.id = "x-coredata://S/ICNote/p" + std::to_string(key);
  row.uuid = "U" + std::to_string(key);
  row.title = title;
  row.folderID = "x-coredata://S/ICFolder/p1";
  row.modifiedAt = core::TimePoint(std::chrono::microseconds(1'700'000'000'123'456));
  return row;
}

// Whatever shape a recorded path and time take, what the notes are told of
// them is what was recorded: the manifest written from them says the same.
TEST(LibraryExportEarlierFiles, GivesBackWhatWasRecordedHoweverItIsKept) {
  const std::string now = "2023-11-14T22:13:20.123456Z";  // the notes' own time
  const Case cases[] = {
      {"Plan", "Work/Plan.md", now},
      {"Plan", "Work/Plan (2).md", now},
      {"Plan", "Plan (12).md", now},  // at the top
      {"Plan", "Work/Sub/Plan (1).md", now},
      {"Plan", "Work/Plan (02).md", now},
      {"Plan", "Work/Plan ().md", now},
      {"Plan", "Work/Plan (2)", now},
      {"Plan", "Work/Plan (99999999999).md", now},
      {"Plan", "Work/Other.md", now},
      {"Plan.md", "Work/Plan.md", now},
      {"Plan", "Work/plan.md", now},
      {"a/b: c.", "Work/a-b- c.md", now},  // made safe as a name is
      {"", "Work/Untitled (3).md", now},
      {"Plan", "Work/Plan.md", "2001-01-01T00:00:00Z"},  // changed since
      {"Plan", "Work/Plan.md", "2023-11-14T22:13:20.1234560Z"},
      {"Plan", "Work/Plan.md", ""},
  };
  LibraryExportNoteList list;
  for (size_t i = 0; i < std::size(cases); ++i)
    list.add(noteRow(static_cast<int64_t>(i + 1), cases[i].title));
  // Listed out of key order, with an id of another store's and a note gone.
  list.add(noteRow(0, "Zero"));
  LibraryExportEarlierFiles earlier(list.notes());
  earlier.add("x-coredata://S/ICNote/p1", "Work/Stale.md", now);  // named again below: the last counts
  for (size_t i = 0; i < std::size(cases); ++i)
    earlier.add("x-coredata://S/ICNote/p" + std::to_string(i + 1), cases[i].path, cases[i].modified);
  earlier.add("x-coredata://T/ICNote/p1", "Other store.md", now);
  earlier.add("x-coredata://S/ICNote/p99", "Gone.md", "t");
  earlier.finish();

  for (size_t i = 0; i < std::size(cases); ++i) {
    ASSERT_TRUE(earlier.has(static_cast<uint32_t>(i))) << i;
    const LibraryExportEarlierFile file = earlier.of(static_cast<uint32_t>(i), list.notes()[i]);
    EXPECT_EQ(file.path, cases[i].path) << i;
    EXPECT_EQ(file.modified.formatted(), cases[i].modified) << i;
    EXPECT_EQ(earlier.modifiedAsNow(static_cast<uint32_t>(i)), cases[i].modified == now) << i;
  }
  EXPECT_FALSE(earlier.has(static_cast<uint32_t>(std::size(cases))));
  ASSERT_EQ(earlier.gone().size(), 2u);
  EXPECT_EQ(earlier.gone()[0].path, "Gone.md");
  EXPECT_EQ(earlier.gone()[1].path, "Other store.md");
  EXPECT_EQ(earlier.size(), std::size(cases) + 2);

  // A manifest that names its notes again counts from there on.
  LibraryExportEarlierFiles again(list.notes());
  again.add("x-coredata://S/ICNote/p1", "Work/Plan.md", now);
  again.add("x-coredata://S/ICNote/p98", "Gone.md", "t");
  again.restart();
  again.add("x-coredata://S/ICNote/p2", "Work/Plan.md", now);
  again.finish();
  EXPECT_FALSE(again.has(0));
  EXPECT_TRUE(again.has(1));
  EXPECT_EQ(again.gone().size(), 0u);
}

}  // namespace
}  // namespace zephyl::notes_store
