#include "navigation/notes_quick_open_service.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "navigation/notes_quick_open_error.h"
#include "notes_store/fixtures/note_document_writer.h"
#include "notes_store/fixtures/notes_library_builder.h"
#include "platform/linux/posix_file_system.h"
#include "platform/testing/fake_notes_database_grant.h"
#include "platform/testing/in_memory_file_system.h"
#include "platform/testing/test_folder.h"

namespace zephyl::navigation {
namespace {

namespace fs = std::filesystem;
using notes_store::NoteRunSpec;
using notes_store::NotesLibraryBuilder;

std::string body(const std::string& text) {
  return notes_store::gzipCompress(notes_store::encodeNoteDocument({NoteRunSpec{.text = text}}));
}

std::vector<std::string> titles(const std::vector<QuickOpenSearchResult>& results) {
  std::vector<std::string> out;
  for (const auto& result : results)
    out.push_back(result.note() ? result.note()->title : "folder:" + result.folder()->title);
  return out;
}

// A library with an account, nested folders (one with " › " in its title, one
// without a name), the trash, a locked note and a deleted one.
struct Library {
  NotesLibraryBuilder builder;
  int64_t work = 0;
  int64_t projects = 0;
  int64_t untitled = 0;
  int64_t trash = 0;
};

Library makeLibrary(double recipesModifiedAt = 500,
                    std::string recipesText = "Recipes\nCrème brûlée with Straße sugar") {
  Library library;
  auto& b = library.builder;
  const int64_t account = b.addAccount({.name = "iCloud"});
  library.work = b.addFolder({.title = "Work", .owner = account});
  library.projects = b.addFolder({.title = "Pro › jects", .parent = library.work, .owner = account});
  library.untitled = b.addFolder({.title = "", .owner = account});
  library.trash = b.addFolder({.title = "Recently Deleted", .owner = account, .folderType = 1});
  b.addNote({.title = "Recipes",
             .folder = library.work,
             .account7 = account,
             .snippet = "sugar",
             .modifiedAt = recipesModifiedAt,
             .bodyData = body(recipesText)});
  b.addNote({.title = "Planning",
             .folder = library.projects,
             .account7 = account,
             .modifiedAt = 400,
             .bodyData = body("Planning\nwork items for the quarter")});
  b.addNote({.title = "Work log",
             .folder = library.untitled,
             .account7 = account,
             .modifiedAt = 300,
             .bodyData = body("Work log\nnothing")});
  b.addNote({.title = "Diary",
             .folder = library.work,
             .account7 = account,
             .snippet = "secret preview",
             .passwordProtected = true,
             .modifiedAt = 200,
             .bodyData = std::string("\x01encrypted")});
  b.addNote({.title = "Trashed work",
             .folder = library.trash,
             .account7 = account,
             .modifiedAt = 900,
             .bodyData = body("Trashed work\nzebra")});
  b.addNote({.title = "Deleted",
             .folder = library.work,
             .account7 = account,
             .markedForDeletion = 1,
             .modifiedAt = 900,
             .bodyData = body("Deleted\nzebra")});
  return library;
}

class NotesQuickOpenServiceTest : public ::testing::Test {
 protected:
  void SetUp() override { fs::create_directories(directory_); }

  void write(const NotesLibraryBuilder& builder) {
    fs::remove(path_);
    builder.write(path_);
  }

  // A service as one run of the program makes it, sharing the cache folder.
  std::unique_ptr<NotesQuickOpenService> service() {
    return std::make_unique<NotesQuickOpenService>(access_, cacheFiles_, "/data",
                                                   core::SearchTextFolder("en_US"));
  }

  platform::testing::TestFolder folder_;
  fs::path directory_ = folder_.path();
  std::string path_ = (directory_ / "NoteStore.sqlite").string();
  platform::PosixFileSystem files_;
  platform::testing::FakeNotesDatabaseGrant grant_{path_};
  notes_store::NotesDatabaseAccess access_{grant_, files_, "/home/nobody"};
  platform::testing::InMemoryFileSystem cacheFiles_;
};

TEST_F(NotesQuickOpenServiceTest, SnapshotLeavesOutTrashAndResultsAreTitleThenFolderThenTextIgnoringCase) {
  write(makeLibrary().builder);
  auto quickOpen = service();
  quickOpen->refresh();
  const auto& snapshot = quickOpen->snapshot();
  std::vector<std::string> noteTitles;
  for (const auto& note : snapshot.notes) noteTitles.push_back(note.title);
  EXPECT_EQ(noteTitles, (std::vector<std::string>{"Recipes", "Planning", "Work log", "Diary"}));

  std::vector<std::vector<std::string>> paths;
  for (const auto& folder : snapshot.folders) paths.push_back(folder.pathComponents);
  EXPECT_EQ(paths, (std::vector<std::vector<std::string>>{
                       {"iCloud", ""}, {"iCloud", "Work", "Pro › jects"}, {"iCloud", "Work"}}));
  EXPECT_EQ(snapshot.notes[1].folderPath, "iCloud › Work › Pro › jects");
  EXPECT_EQ(snapshot.notes[2].folderName, "Notes");
  EXPECT_EQ(snapshot.notes[2].folderPath, "iCloud › Notes");
  EXPECT_TRUE(snapshot.notes[0].searchTextIsComplete);
  EXPECT_FALSE(snapshot.notes[3].searchTextIsComplete);  // locked: preview only

  const auto results = quickOpen->search("  work\n", 0);
  // "Work log" by title; Recipes, Planning and Diary by folder path; the trashed
  // and deleted notes never; then the folder named Work.
  EXPECT_EQ(titles(results),
            (std::vector<std::string>{"Work log", "Recipes", "Planning", "Diary", "folder:Work"}));
  EXPECT_EQ(results[0].matchKind, QuickOpenMatchKind::kTitle);
  EXPECT_EQ(results[1].matchKind, QuickOpenMatchKind::kFolder);
  EXPECT_EQ(results[4].matchKind, QuickOpenMatchKind::kTitle);
  EXPECT_EQ(results[4].snippet, "iCloud › Work");
  EXPECT_EQ(results[0].matchedQuery, "work");

  const auto textMatches = quickOpen->search("QUARTER", 0);
  ASSERT_EQ(titles(textMatches), std::vector<std::string>{"Planning"});
  EXPECT_EQ(textMatches[0].matchKind, QuickOpenMatchKind::kText);
  EXPECT_EQ(textMatches[0].snippet, "Planning work items for the quarter");

  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {"BRULEE", {"Recipes"}},  // how text folds is SearchTextFolder's; here, that both sides are folded
      {"secret", {"Diary"}},    // a locked note is found by its preview only
      {"encrypted", {}},
      {"notes", {"Work log", "folder:"}},  // the folder without a name is "Notes"
      {"pro › j", {"Planning", "folder:Pro › jects"}},
  };
  for (const auto& [query, expected] : cases) {
    EXPECT_EQ(titles(quickOpen->search(query, 0)), expected) << query;
  }
}

TEST_F(NotesQuickOpenServiceTest, EqualDatesKeepTheirOrderAndEmptyQueryListsRecentNotes) {
  NotesLibraryBuilder builder;
  const int64_t folder = builder.addFolder({.title = "Folder"});
  // Enough notes with one date that an unstable sort would shuffle them.
  for (int i = 0; i < 40; ++i) {
    builder.addNote({.title = "Same " + std::to_string(i),
                     .folder = folder,
                     .modifiedAt = 100,
                     .bodyData = body("common")});
  }
  builder.addNote({.title = "Newest", .folder = folder, .modifiedAt = 200, .bodyData = body("common")});
  builder.addNote({.title = "Oldest", .folder = folder, .modifiedAt = 50, .bodyData = body("common")});
  write(builder);
  auto quickOpen = service();
  quickOpen->refresh();
  std::vector<std::string> expected{"Newest"};
  for (int i = 0; i < 40; ++i) expected.push_back("Same " + std::to_string(i));
  expected.push_back("Oldest");
  EXPECT_EQ(titles(quickOpen->search("COMMON", 0)), expected);

  const auto recent = quickOpen->search(" \t", 3);
  EXPECT_EQ(titles(recent), (std::vector<std::string>{"Newest", "Same 0", "Same 1"}));
  EXPECT_FALSE(recent[0].matchKind.has_value());
  EXPECT_EQ(recent[0].snippet, "common");
}

TEST_F(NotesQuickOpenServiceTest, LimitKeepsPlacesForFolders) {
  NotesLibraryBuilder builder;
  for (int i = 0; i < 6; ++i) builder.addFolder({.title = "Topic folder " + std::to_string(i)});
  for (int i = 0; i < 20; ++i) {
    builder.addNote(
        {.title = "Topic " + std::to_string(i), .folder = 1, .modifiedAt = 100.0 - i, .bodyData = body("x")});
  }
  write(builder);
  auto quickOpen = service();
  quickOpen->refresh();
  struct Case {
    size_t limit;
    size_t notes;
    size_t folders;
  };
  for (const Case& c : {Case{8, 6, 2}, Case{3, 2, 1}, Case{1, 0, 1}, Case{0, 20, 6}, Case{30, 20, 6}}) {
    const auto results = quickOpen->search("topic", c.limit);
    size_t notes = 0;
    for (const auto& result : results) notes += result.note() != nullptr;
    EXPECT_EQ(notes, c.notes) << c.limit;
    EXPECT_EQ(results.size() - notes, c.folders) << c.limit;
  }
  // The notes match by their folder's path; one place still goes to a folder.
  EXPECT_EQ(titles(quickOpen->search("folder", 2)),
            (std::vector<std::string>{"Topic 0", "folder:Topic folder 0"}));
}

TEST_F(NotesQuickOpenServiceTest, CacheOnDiskSparesDecodingAndChangedNoteIsDecodedAgain) {
  write(makeLibrary().builder);
  {
    auto first = service();
    first->refresh();
    EXPECT_EQ(first->decodedBodyCount(), 3u);
    first->saveSearchTextCache();
  }
  {
    auto second = service();
    second->refresh();
    EXPECT_EQ(second->decodedBodyCount(), 0u);
    EXPECT_EQ(titles(second->search("brulee", 0)), std::vector<std::string>{"Recipes"});
    second->saveSearchTextCache();
  }
  // The same library with the recipe edited: only that note is decoded again.
  write(makeLibrary(600, "Recipes\nApple pie").builder);
  {
    auto third = service();
    third->refresh();
    EXPECT_EQ(third->decodedBodyCount(), 1u);
    EXPECT_TRUE(third->search("brulee", 0).empty());
    EXPECT_EQ(titles(third->search("apple pie", 0)), std::vector<std::string>{"Recipes"});
    EXPECT_EQ(titles(third->search("quarter", 0)), std::vector<std::string>{"Planning"});
  }
}

TEST_F(NotesQuickOpenServiceTest, MissingOrUnreadableDatabaseIsReportedAndLastSnapshotKept) {
  auto quickOpen = service();
  try {
    quickOpen->refresh();
    FAIL() << "expected an error";
  } catch (const NotesQuickOpenError& e) {
    EXPECT_EQ(e.code(), NotesQuickOpenError::Code::kNotesDatabaseAccessRequired);
    EXPECT_EQ(e.description(), "Grant Apple Notes database access in Settings to use Quick open.");
  }

  write(makeLibrary().builder);
  quickOpen->refresh();
  ASSERT_EQ(quickOpen->snapshot().notes.size(), 4u);
  {
    std::ofstream damaged(path_, std::ios::binary | std::ios::trunc);
    damaged << "this is not an SQLite database, not even close to one";
  }
  try {
    quickOpen->refresh();
    FAIL() << "expected an error";
  } catch (const NotesQuickOpenError& e) {
    EXPECT_EQ(e.code(), NotesQuickOpenError::Code::kDatabaseUnavailable);
    EXPECT_FALSE(e.detail().empty());
  }
  EXPECT_EQ(quickOpen->snapshot().notes.size(), 4u);
  EXPECT_EQ(titles(quickOpen->search("creme", 0)), std::vector<std::string>{"Recipes"});
}

TEST(QuickOpenNoteComparator, DatedBeforeUndatedAndUndatedByTitle) {
  QuickOpenNote dated{.title = "z", .modifiedAt = core::TimePoint(std::chrono::seconds(1))};
  QuickOpenNote apple{.title = "apple"};
  QuickOpenNote banana{.title = "Banana"};
  EXPECT_TRUE(quickOpenNoteComesBefore(dated, apple));
  EXPECT_FALSE(quickOpenNoteComesBefore(apple, dated));
  EXPECT_TRUE(quickOpenNoteComesBefore(apple, banana));
  EXPECT_FALSE(quickOpenNoteComesBefore(banana, apple));
  QuickOpenNote sameTime = dated;
  EXPECT_FALSE(quickOpenNoteComesBefore(dated, sameTime));
  EXPECT_FALSE(quickOpenNoteComesBefore(sameTime, dated));
}

}  // namespace
}  // namespace zephyl::navigation
