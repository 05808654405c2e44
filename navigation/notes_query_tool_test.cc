#include "navigation/notes_query_tool.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "notes_store/fixtures/note_document_writer.h"
#include "notes_store/fixtures/notes_library_builder.h"
#include "platform/linux/posix_file_system.h"
#include "platform/testing/fake_notes_database_grant.h"
#include "platform/testing/in_memory_file_system.h"
#include "platform/testing/test_folder.h"

namespace zephyl::navigation {
namespace {

using core::JSONValue;

constexpr double kDay = 86400;

std::string body(const std::string& text) {
  return notes_store::gzipCompress(notes_store::encodeNoteDocument({notes_store::NoteRunSpec{.text = text}}));
}

class NotesQueryToolTest : public ::testing::Test {
 protected:
  void SetUp() override {
    notes_store::NotesLibraryBuilder b;
    const int64_t account = b.addAccount({.name = "iCloud"});
    const int64_t work = b.addFolder({.title = "Work", .owner = account});
    const int64_t home = b.addFolder({.title = "Home", .owner = account});
    auto note = [&](std::string title, int64_t folder, double days, const std::string& text) {
      b.addNote({.title = title,
                 .folder = folder,
                 .account7 = account,
                 .modifiedAt = days * kDay,
                 .bodyData = body(title + "\n" + text)});
    };
    note("Bakery plan", work, 10, "Bread at the corner bakery");
    note("Groceries", home, 20, "flour for the bakery");
    b.addNote({.title = "Diary",
               .folder = home,
               .account7 = account,
               .snippet = "bakery secret",
               .passwordProtected = true,
               .modifiedAt = 30 * kDay,
               .bodyData = std::string("\x01sealed")});
    note("Long", work, 5, "the bakery ledger");
    b.write(path_);
    service_.refresh();
  }

  std::string idOf(const std::string& title) const {
    for (const auto& note : service_.snapshot().notes) {
      if (note.title == title) return note.noteURLIdentifier;
    }
    return {};
  }

  NotesQueryAnswer run(const std::string& arguments) {
    const NotesQueryTool tool(service_, [this](int64_t key) -> std::optional<std::string> {
      read.push_back(key);
      for (const auto& note : service_.snapshot().notes) {
        if (note.noteKey != key) continue;
        if (note.title == "Long")
          return "# Long\n" + std::string(NotesQueryTool::kMaximumAnswerBytes * 2, 'x');
        return "# " + note.title + "\nthe whole note";
      }
      return std::nullopt;
    });
    return tool.run(JSONValue::parse(arguments));
  }

  platform::testing::TestFolder folder_;
  std::string path_ = (std::filesystem::path(folder_.path()) / "NoteStore.sqlite").string();
  platform::PosixFileSystem files_;
  platform::testing::FakeNotesDatabaseGrant grant_{path_};
  notes_store::NotesDatabaseAccess access_{grant_, files_, "/home/nobody"};
  platform::testing::InMemoryFileSystem cacheFiles_;
  NotesQuickOpenService service_{access_, cacheFiles_, "", core::SearchTextFolder("en_US")};
  std::vector<int64_t> read;
};

TEST_F(NotesQueryToolTest, SearchesAndCountsByTextFolderAndDateAndNeverShowsALockedNote) {
  const struct {
    std::string arguments;
    std::vector<std::string> found;  // titles, in order
    std::string textStarts;
  } cases[] = {
      {R"({"action":"search","text":"BAKERY"})",
       {"Bakery plan", "Groceries", "Long"},
       "4 notes match (text \"BAKERY\")"},
      {R"({"action":"search","text":"bakery","limit":1})", {"Bakery plan"}, "4 notes match"},
      {R"({"action":"search","folder":"home"})", {"Diary", "Groceries"}, "2 notes match (folder \"home\")"},
      {R"({"action":"search","modifiedAfter":"2001-01-11","modifiedBefore":"2001-01-21"})",
       {"Groceries", "Bakery plan"},
       "2 notes match (modified on or after \"2001-01-11\""},
      {R"({"action":"count","text":"bakery","folder":"Work"})",
       {},
       "2 notes match (text \"bakery\", folder \"Work\")."},
      {R"({"action":"search","text":"nowhere"})", {}, "0 notes match"},
  };
  for (const auto& test : cases) {
    const NotesQueryAnswer answer = run(test.arguments);
    EXPECT_FALSE(answer.failure) << test.arguments;
    EXPECT_TRUE(answer.text.starts_with(test.textStarts)) << answer.text;
    std::vector<std::string> titles;
    for (const auto& note : answer.notes) titles.push_back(note.title);
    // The locked note is found by title and preview but shown without them.
    std::erase(titles, "Diary");
    std::vector<std::string> expected = test.found;
    std::erase(expected, "Diary");
    EXPECT_EQ(titles, expected) << test.arguments;
    EXPECT_EQ(answer.text.find("secret"), std::string::npos) << answer.text;
    for (const auto& note : answer.notes) {
      EXPECT_NE(
          answer.text.find("[UNTRUSTED REFERENCE DATA \u2014 Note: " + note.title + " \u2014 iCloud › "),
          std::string::npos);
      EXPECT_NE(answer.text.find("ID: " + note.id + "\n"), std::string::npos);
    }
  }
  EXPECT_NE(run(R"({"action":"search","folder":"home"})").text.find("Excerpt: (locked note"),
            std::string::npos);
  EXPECT_TRUE(read.empty());
}

TEST_F(NotesQueryToolTest, ReadsOneNoteWithinTheBoundButNeverALockedOne) {
  const NotesQueryAnswer plan = run(R"({"action":"read","noteID":")" + idOf("Bakery plan") + R"("})");
  EXPECT_TRUE(plan.text.starts_with(
      "[UNTRUSTED REFERENCE DATA \u2014 Note: Bakery plan \u2014 iCloud › Work]\nID: "));
  EXPECT_TRUE(plan.text.ends_with("# Bakery plan\nthe whole note"));

  const NotesQueryAnswer longNote = run(R"({"action":"read","noteID":")" + idOf("Long") + R"("})");
  EXPECT_LE(longNote.text.size(), NotesQueryTool::kMaximumAnswerBytes);
  EXPECT_NE(longNote.text.find("\n[Note cut by Zephyl: "), std::string::npos);
  EXPECT_TRUE(longNote.text.ends_with(" of " + std::to_string(7 + NotesQueryTool::kMaximumAnswerBytes * 2) +
                                      " bytes shown.]"));

  const size_t readsBefore = read.size();
  const NotesQueryAnswer diary = run(R"({"action":"read","noteID":")" + idOf("Diary") + R"("})");
  EXPECT_EQ(diary.text, "The note \"Diary\" is locked: Zephyl cannot read its content.");
  EXPECT_EQ(read.size(), readsBefore);

  for (const char* bad : {R"({"action":"read","noteID":"x-coredata://nope"})",
                          R"({"action":"search","modifiedAfter":"last week"})", R"({"action":"delete"})"}) {
    EXPECT_TRUE(run(bad).failure) << bad;
  }
}

}  // namespace
}  // namespace zephyl::navigation
