#include "notes_store/library_export_plan.h"

#include <gtest/gtest.h>

namespace zephyl::notes_store {
namespace {

NotesNoteRow note(int64_t key, std::string title, double created, bool locked = false) {
  NotesNoteRow row;
  row.isPasswordProtected = locked;
  row.id = "x-coredata://S/ICNote/p" + std::to_string(key);
  row.title = std::move(title);
  row.folderID = "x-coredata://S/ICFolder/p1";
  row.createdAt = core::TimePoint(std::chrono::seconds(static_cast<int64_t>(created)));
  row.modifiedAt = row.createdAt;
  return row;
}

std::vector<NotesFolderRow> workFolder() {
  NotesFolderRow folder;
  folder.id = "x-coredata://S/ICFolder/p1";
  folder.title = "Work";
  folder.path = "iCloud › Work";
  folder.componentPath = "6:iCloud4:Work";
  return {folder};
}

TEST(LibraryExportPlan, KeepsFittingNamesRenamesChangedOnesAndListsStaleFiles) {
  const LibraryExportManifest earlier = {
      {"x-coredata://S/ICNote/p1", "iCloud/Work/Plan.md", "t"},      // same title: kept
      {"x-coredata://S/ICNote/p2", "iCloud/Work/Old name.md", "t"},  // retitled: renamed
      {"x-coredata://S/ICNote/p9", "iCloud/Work/Gone.md", "t"},      // deleted: stale
      {"x-coredata://S/ICNote/p3", "iCloud/Work/Plan (2).md", "t"},  // a twin keeps its number
  };
  // Listed newest first: the plan orders them by creation.
  LibraryExportNoteList notes;
  for (const NotesNoteRow& row :
       {note(4, "Gone", 40), note(3, "Plan", 30), note(2, "New name", 20), note(1, "Plan", 10),
        note(6, "Twin", 60), note(5, "Twin", 50, /*locked=*/true)}) {
    notes.add(row);
  }
  LibraryExportEarlierFiles matched = matchEarlierFiles(notes.notes(), earlier);
  const LibraryExportPlan plan = planLibraryExport(std::move(notes), workFolder(), std::move(matched));
  ASSERT_EQ(plan.entries.size(), 6u);
  EXPECT_EQ(plan.notes[0].id().text(), "x-coredata://S/ICNote/p1");
  EXPECT_EQ(plan.notes[3].id().text(), "x-coredata://S/ICNote/p4");
  const std::vector<std::string> targets = {"iCloud/Work/Plan.md", "iCloud/Work/New name.md",
                                            "iCloud/Work/Plan (2).md",
                                            // The deleted note's file stays reserved: a new note
                                            // of the same title does not write over it.
                                            "iCloud/Work/Gone (2).md",
                                            // A locked note has no file and leaves its name to a twin.
                                            "", "iCloud/Work/Twin.md"};
  for (size_t i = 0; i < targets.size(); ++i) EXPECT_EQ(plan.target(i), targets[i]);
  ASSERT_TRUE(plan.previous(1));
  EXPECT_EQ(plan.previous(1)->path, "iCloud/Work/Old name.md");
  EXPECT_FALSE(plan.previous(3));
  EXPECT_EQ(plan.staleFiles, std::vector<std::string>{"iCloud/Work/Gone.md"});
  EXPECT_EQ(plan.folderDisplayPaths[plan.notes[0].folder], "iCloud › Work");
  EXPECT_EQ(plan.folders, 2u);  // iCloud and iCloud/Work
}

TEST(LibraryExportPlan, ARunThatWritesNothingKeepsTheListedOrderAndTheSameFiles) {
  const LibraryExportManifest earlier = {{"x-coredata://S/ICNote/p1", "iCloud/Work/Plan.md", "t"},
                                         {"x-coredata://S/ICNote/p3", "iCloud/Work/Plan (2).md", "t"}};
  for (const std::vector<bool>& keptAsIs : {std::vector<bool>{true, true}, std::vector<bool>{true, false}}) {
    LibraryExportNoteList notes;
    notes.add(note(3, "Plan", 30));
    notes.add(note(1, "Plan", 10));
    LibraryExportEarlierFiles matched = matchEarlierFiles(notes.notes(), earlier);
    const LibraryExportPlan plan =
        planLibraryExport(std::move(notes), workFolder(), std::move(matched), keptAsIs);
    // Written or not, each note keeps its file; only a run that writes puts them in naming order.
    const bool writes = !keptAsIs[1];
    EXPECT_EQ(plan.notes[0].key(), writes ? 1 : 3);
    EXPECT_EQ(plan.target(0), writes ? "iCloud/Work/Plan.md" : "iCloud/Work/Plan (2).md");
    EXPECT_EQ(plan.target(1), writes ? "iCloud/Work/Plan (2).md" : "iCloud/Work/Plan.md");
  }
}

}  // namespace
}  // namespace zephyl::notes_store
