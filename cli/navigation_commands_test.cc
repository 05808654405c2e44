#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "cli/cli_app.h"
#include "cli/internal/cli_test_support.h"
#include "notes_store/fixtures/note_document_writer.h"
#include "notes_store/fixtures/notes_library_builder.h"
#include "platform/testing/test_folder.h"

namespace zephyl::cli {
namespace {

namespace fs = std::filesystem;
using notes_store::NoteParagraphStyle;
using notes_store::NoteParagraphStyleSpec;
using notes_store::NoteRunSpec;

using testing::CommandResult;

std::string body(const std::vector<NoteRunSpec>& runs) {
  return notes_store::gzipCompress(notes_store::encodeNoteDocument(runs));
}

class NavigationCommandsTest : public testing::CommandTest {
 protected:
  NavigationCommandsTest() { leadingArguments_ = {"--data-dir", data()}; }

  // Work › Projects with two notes, one linking to the other, a note with
  // headings, and the trash with a note in it.
  std::string writeLibrary() {
    notes_store::NotesLibraryBuilder builder;
    const int64_t account = builder.addAccount({.name = "iCloud"});
    const int64_t work = builder.addFolder({.title = "Work", .owner = account});
    const int64_t projects = builder.addFolder({.title = "Projects", .parent = work, .owner = account});
    const int64_t trash = builder.addFolder({.title = "Recently Deleted", .owner = account, .folderType = 1});
    builder.addNote(
        {.title = "Budget",
         .identifier = "BUDGET-UUID",
         .folder = projects,
         .account7 = account,
         .modifiedAt = 100,
         .bodyData = body(
             {{.text = "Budget\n", .paragraph = NoteParagraphStyleSpec{.style = NoteParagraphStyle::kTitle}},
              {.text = "Quarterly crème figures"}})});
    const int64_t plan = builder.addNote(
        {.title = "Plan",
         .folder = projects,
         .account7 = account,
         .modifiedAt = 200,
         .bodyData = body(
             {{.text = "Plan\n", .paragraph = NoteParagraphStyleSpec{.style = NoteParagraphStyle::kTitle}},
              {.text = "Goals\n", .paragraph = NoteParagraphStyleSpec{.style = NoteParagraphStyle::kHeading}},
              {.text = "see the "},
              {.text = "budget", .link = "applenotes:note/budget-uuid"},
              {.text = "\nDetails",
               .paragraph = NoteParagraphStyleSpec{.style = NoteParagraphStyle::kSubheading}}})});
    builder.addNote({.title = "Old plan",
                     .folder = trash,
                     .account7 = account,
                     .modifiedAt = 300,
                     .bodyData = body({{.text = "Old plan\nQuarterly crème"}})});
    planKey_ = plan;
    const std::string path = (directory_ / "lib" / "NoteStore.sqlite").string();
    builder.write(path);
    return path;
  }

  int64_t planKey_ = 0;
};

TEST_F(NavigationCommandsTest, SearchPrintsNotesThenFoldersAsJson) {
  const std::string library = writeLibrary();
  const CommandResult result = run({"--db", library, "search", "CREME", "--json"});
  ASSERT_EQ(result.code, 0) << result.err;
  const auto json = nlohmann::json::parse(result.out);
  ASSERT_EQ(json.size(), 1u);  // the trashed note never appears
  EXPECT_EQ(json[0]["kind"], "note");
  EXPECT_EQ(json[0]["title"], "Budget");
  EXPECT_EQ(json[0]["matchKind"], "text");
  EXPECT_EQ(json[0]["snippet"], "Budget Quarterly crème figures");
  EXPECT_EQ(json[0]["folderPath"], "iCloud › Work › Projects");
  EXPECT_TRUE(json[0]["id"].get<std::string>().starts_with("x-coredata://"));

  // Which results come in which order is NotesQuickOpenServiceTest's; here, a folder's row.
  const auto byFolder = nlohmann::json::parse(run({"--db", library, "search", "projects", "--json"}).out);
  ASSERT_FALSE(byFolder.empty());
  EXPECT_EQ(byFolder.back()["kind"], "folder");
  EXPECT_EQ(byFolder.back()["snippet"], "iCloud › Work › Projects");
  EXPECT_EQ(nlohmann::json::parse(run({"--db", library, "search", "", "--json", "--limit", "1"}).out).size(),
            1u);

  const CommandResult human = run({"--db", library, "search", "budget"});
  EXPECT_EQ(human.code, 0);
  EXPECT_NE(human.out.find("Budget  (iCloud › Work › Projects)"), std::string::npos);
  EXPECT_NE(human.out.find("2 results"), std::string::npos);
}

// A damaged cache is QuickOpenSearchTextCacheTest's, and which temporary files are
// stale PosixFileSystem's; here, where the cache lives, and that what a save cut
// short by kill -9 left there goes.
TEST_F(NavigationCommandsTest, SearchKeepsItsCacheInTheDataFolderAndRemovesStaleTemporaryFiles) {
  const std::string library = writeLibrary();
  fs::create_directories(data());
  const pid_t ended = ::fork();
  if (ended == 0) ::_exit(0);
  ::waitpid(ended, nullptr, 0);
  const fs::path stale = fs::path(data()) / ("S.searchcache.tmp-" + std::to_string(ended) + "-0");
  std::ofstream(stale) << "half";
  ASSERT_EQ(run({"--db", library, "search", "crème"}).code, 0);
  EXPECT_FALSE(fs::exists(stale));
  std::vector<fs::path> caches;
  for (const auto& entry : fs::directory_iterator(data())) caches.push_back(entry.path());
  ASSERT_EQ(caches.size(), 1u);
  EXPECT_TRUE(caches[0].filename().string().starts_with("quick-open-search-"));
  EXPECT_GT(fs::file_size(caches[0]), 100u);
}

TEST_F(NavigationCommandsTest, NavigationCommandsNeedADatabase) {
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"search", "x"}, {"backlinks", "1"}, {"toc", "1"}}) {
    std::vector<std::string> arguments{"--db", (directory_ / "missing").string()};
    arguments.insert(arguments.end(), command.begin(), command.end());
    const CommandResult result = run(arguments);
    EXPECT_EQ(result.code, 1) << command[0];
    EXPECT_NE(result.err.find("missing"), std::string::npos) << result.err;
  }
}

TEST_F(NavigationCommandsTest, BacklinksListTheNotesThatLinkToANoteAndTocItsHeadings) {
  const std::string library = writeLibrary();
  const CommandResult result = run({"--db", library, "backlinks", "budget-uuid", "--json"});
  ASSERT_EQ(result.code, 0) << result.err;
  const auto json = nlohmann::json::parse(result.out);
  ASSERT_EQ(json.size(), 1u);
  EXPECT_EQ(json[0]["title"], "Plan");
  EXPECT_EQ(json[0]["location"], "iCloud › Projects");
  EXPECT_TRUE(json[0]["id"].get<std::string>().ends_with("/ICNote/p" + std::to_string(planKey_)));
  EXPECT_TRUE(
      nlohmann::json::parse(run({"--db", library, "backlinks", std::to_string(planKey_), "--json"}).out)
          .empty());
  EXPECT_EQ(run({"--db", library, "backlinks", "no-such-note"}).code, 2);
  EXPECT_NE(run({"--db", library, "backlinks", "BUDGET-UUID"}).out.find("1 backlink"), std::string::npos);

  const CommandResult toc = run({"--db", library, "toc", std::to_string(planKey_), "--json"});
  ASSERT_EQ(toc.code, 0) << toc.err;
  EXPECT_EQ(nlohmann::json::parse(toc.out), nlohmann::json::parse(R"([
      {"level": "title", "text": "Plan", "line": 1},
      {"level": "heading", "text": "Goals", "line": 2},
      {"level": "subheading", "text": "Details", "line": 4}])"));
  const CommandResult human = run({"--db", library, "toc", std::to_string(planKey_)});
  EXPECT_EQ(human.out, "    1  Plan\n    2    Goals\n    4      Details\n");
}

TEST_F(NavigationCommandsTest, QuickOpenRefusesWithoutATerminal) {
  const std::string library = writeLibrary();
  const CommandResult result = run({"--db", library, "quick-open"});
  EXPECT_EQ(result.code, 1);
  EXPECT_NE(result.err.find("needs a terminal"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("zephyl search"), std::string::npos);
}

}  // namespace
}  // namespace zephyl::cli
