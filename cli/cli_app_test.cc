#include "cli/cli_app.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "cli/internal/cli_test_support.h"
#include "notes_store/fixtures/note_document_writer.h"
#include "notes_store/fixtures/notes_library_builder.h"
#include "platform/testing/test_folder.h"

namespace zephyl::cli {
namespace {

namespace fs = std::filesystem;

using testing::CommandResult;

class CliAppTest : public testing::CommandTest {
 protected:
  std::string writeLibrary() {
    notes_store::NotesLibraryBuilder builder;
    const int64_t account = builder.addAccount({.name = "iCloud"});
    const int64_t work = workFolderKey_ = builder.addFolder({.title = "Work", .owner = account});
    const int64_t projects = builder.addFolder({.title = "Pro › jects", .parent = work, .owner = account});
    const int64_t trash = builder.addFolder({.title = "Recently Deleted", .owner = account, .folderType = 1});
    builder.addNote({.title = "Older",
                     .identifier = "UUID-OLDER",
                     .folder = work,
                     .account7 = account,
                     .snippet = "old",
                     .createdAt = 0,
                     .modifiedAt = 100});
    notes_store::NoteRunSpec title{
        .text = "Newer 日本\n",
        .paragraph = notes_store::NoteParagraphStyleSpec{.style = notes_store::NoteParagraphStyle::kTitle}};
    notes_store::NoteRunSpec item{
        .text = "milk\n",
        .paragraph = notes_store::NoteParagraphStyleSpec{.style = notes_store::NoteParagraphStyle::kChecklist,
                                                         .checklistDone = true}};
    notes_store::NoteRunSpec link{.text = "older", .link = "applenotes:note/uuid-older"};
    builder.addNote(
        {.title = "Newer 日本",
         .folder = projects,
         .account7 = account,
         .modifiedAt = 200.5,
         .bodyData = notes_store::gzipCompress(notes_store::encodeNoteDocument({title, item, link}))});
    builder.addNote({.title = "Locked",
                     .folder = work,
                     .account7 = account,
                     .passwordProtected = true,
                     .modifiedAt = 250,
                     .bodyData = std::string("\x01encrypted")});
    trashedNoteKey_ =
        builder.addNote({.title = "Thrown away", .folder = trash, .account7 = account, .modifiedAt = 300});
    const std::string path = (directory_ / "lib" / "NoteStore.sqlite").string();
    builder.write(path);
    return path;
  }

  int64_t workFolderKey_ = 0;
  int64_t trashedNoteKey_ = 0;
};

TEST_F(CliAppTest, FoldersAndNotesAsJson) {
  const std::string library = writeLibrary();
  const std::string before = platform::testing::readFile(library);

  const CommandResult folders = run({"--db", library, "folders", "--json"});
  ASSERT_EQ(folders.code, 0) << folders.err;
  const auto folderJson = nlohmann::json::parse(folders.out);
  ASSERT_EQ(folderJson.size(), 2u);
  EXPECT_EQ(folderJson[0]["title"], "Pro › jects");
  EXPECT_EQ(folderJson[0]["path"], "iCloud › Work › Pro › jects");
  EXPECT_EQ(folderJson[0]["pathComponents"], nlohmann::json({"iCloud", "Work", "Pro › jects"}));
  EXPECT_TRUE(folderJson[0]["modifiedAt"].is_null());
  EXPECT_TRUE(folderJson[0]["id"].get<std::string>().starts_with("x-coredata://"));

  // The folder that holds the file works as well as the file.
  const CommandResult notes = run({"--db", fs::path(library).parent_path().string(), "notes", "--json"});
  ASSERT_EQ(notes.code, 0) << notes.err;
  auto noteJson = nlohmann::json::parse(notes.out);
  ASSERT_EQ(noteJson.size(), 3u);
  EXPECT_EQ(noteJson[0]["title"], "Locked");  // newest first
  EXPECT_EQ(noteJson[0]["isPasswordProtected"], true);
  noteJson.erase(0);
  EXPECT_EQ(noteJson[0]["folderPath"], "iCloud › Work › Pro › jects");
  EXPECT_EQ(noteJson[0]["modifiedAt"], "2001-01-01T00:03:20.5Z");
  EXPECT_TRUE(noteJson[0]["noteDataPK"].is_number_integer());
  EXPECT_EQ(noteJson[1]["folderID"], folderJson[1]["id"]);
  noteJson[1].erase("id");
  noteJson[1].erase("folderID");
  EXPECT_EQ(noteJson[1], nlohmann::json::parse(R"({"uuid":"UUID-OLDER","title":"Older","accountName":"iCloud",
      "folderName":"Work","folderPath":"iCloud › Work","preview":"old","noteDataPK":null,
      "isPasswordProtected":false,"createdAt":"2001-01-01T00:00:00Z","modifiedAt":"2001-01-01T00:01:40Z"})"));

  const CommandResult human = run({"--db", library, "notes"});
  EXPECT_EQ(human.code, 0);
  EXPECT_NE(human.out.find("Newer 日本"), std::string::npos);
  EXPECT_NE(human.out.find("3 notes"), std::string::npos);
  EXPECT_NE(human.out.find("[locked] Locked"), std::string::npos);
  EXPECT_EQ(human.out.find("Thrown away"), std::string::npos);
  EXPECT_EQ(run({"--db", library, "folders"}).code, 0);
  EXPECT_EQ(platform::testing::readFile(library), before);
}

TEST_F(CliAppTest, ShowPrintsMarkdownOrDecodedJsonForAnyWayOfNamingTheNote) {
  const std::string library = writeLibrary();
  const auto notes = nlohmann::json::parse(run({"--db", library, "notes", "--json"}).out);
  const std::string id = notes[1]["id"];
  const std::string key = id.substr(id.rfind("/p") + 2);
  const std::string expected = "# Newer 日本\n- [x] milk\n\n[older](applenotes:note/uuid-older)\n";
  for (const std::string& reference : {id, key, notes[1]["uuid"].get<std::string>()}) {
    const CommandResult shown = run({"--db", library, "show", reference});
    EXPECT_EQ(shown.code, 0) << shown.err;
    EXPECT_EQ(shown.out, expected) << reference;
  }
  const auto json = nlohmann::json::parse(run({"--db", library, "show", key, "--json"}).out);
  EXPECT_EQ(json["id"], id);
  EXPECT_EQ(json["text"], "Newer 日本\nmilk\nolder");
  EXPECT_EQ(json["markdown"], expected);
  EXPECT_EQ(json["lineStyles"],
            nlohmann::json::parse(R"([{"length": 9, "style": "# "}, {"length": 5, "style": "- [x] "},
                                                         {"length": 5, "style": null}])"));
  EXPECT_EQ(json["links"], nlohmann::json({"applenotes:note/uuid-older"}));

  const CommandResult locked = run({"--db", library, "show", notes[0]["id"]});
  EXPECT_EQ(locked.code, 1);
  EXPECT_NE(locked.err.find("locked with a password"), std::string::npos) << locked.err;
  // Only a note that `notes` lists, of this store, is shown.
  const std::string store = id.substr(0, id.find("/ICNote/"));
  for (const std::string& unknown :
       {std::string("x-coredata://X/ICNote/p999"), std::string("NO-SUCH-UUID"),
        std::to_string(workFolderKey_), store + "/ICFolder/p" + std::to_string(workFolderKey_),
        std::to_string(trashedNoteKey_), store + "/ICNote/p" + std::to_string(trashedNoteKey_),
        "x-coredata://OTHER-STORE/ICNote/p" + key}) {
    const CommandResult refused = run({"--db", library, "show", unknown});
    EXPECT_EQ(refused.code, 2) << unknown << ": " << refused.out;
    EXPECT_EQ(refused.out, "") << unknown;
  }
}

TEST_F(CliAppTest, HostileTitlesPrintHarmlesslyAndOversizedBodiesAreSkippedWithAMessage) {
  notes_store::NotesLibraryBuilder builder;
  const int64_t folder = builder.addFolder({.title = "F\x1b[31mred"});
  const std::string evil =
      "Evil\x1b]0;pwned\x07\x1b[2J\xc2\x9b"
      "2J";
  const std::string evilUUID = "0F0E0D0C-0000-4000-8000-00000000EEEE";
  notes_store::NoteRunSpec link{.text = "evil", .link = "applenotes:note/" + evilUUID};
  builder.addNote(
      {.title = evil,
       .identifier = evilUUID,
       .folder = folder,
       .modifiedAt = 1,
       .bodyData = notes_store::gzipCompress(notes_store::encodeNoteDocument(
           {{.text = evil + "\n",
             .paragraph =
                 notes_store::NoteParagraphStyleSpec{.style = notes_store::NoteParagraphStyle::kHeading}},
            link}))});
  // 33 MB of line feeds in 33 KB: far past the bound on inflated bodies.
  const int64_t bomb = builder.addNote({.title = "Bomb",
                                        .folder = folder,
                                        .modifiedAt = 2,
                                        .bodyData = notes_store::gzipCompress(std::string(33 << 20, '\n'))});
  const std::string library = (directory_ / "hostile" / "NoteStore.sqlite").string();
  builder.write(library);
  const std::string exportDir = (directory_ / "export").string();
  const struct {
    std::vector<std::string> command;
    int code;
    const char* errorSays;  // in standard output or error
  } cases[] = {
      {{"notes"}, 0, ""},
      {{"folders"}, 0, ""},
      {{"search", "evil"}, 0, "was not searched: the body is larger than"},
      {{"backlinks", evilUUID}, 0, "not searched for links: the body is larger than"},
      {{"toc", evilUUID}, 0, ""},
      {{"show", std::to_string(bomb)}, 1, "is not shown: the body is larger than"},
      {{"toc", std::to_string(bomb)}, 1, "the body is larger than"},
      // Under a reason of its own, not "could not be written".
      {{"export", exportDir}, 0, "1 skipped: the body is larger than the 8 MB that Zephyl reads\n    "},
  };
  for (const auto& c : cases) {
    std::vector<std::string> command = c.command;
    command.insert(command.begin(), {"--db", library});
    const CommandResult result = run(command);
    const std::string printed = result.out + result.err;
    EXPECT_EQ(result.code, c.code) << c.command[0] << ": " << printed;
    EXPECT_NE(printed.find(c.errorSays), std::string::npos) << c.command[0] << ": " << printed;
    for (const std::string_view control : {"\x1b", "\x07", "\xc2\x9b"}) {
      EXPECT_EQ(printed.find(control), std::string::npos) << c.command[0] << ": " << printed;
    }
  }
}

TEST_F(CliAppTest, DecodeBodyAndTableFromStandardInput) {
  notes_store::NoteRunSpec heading{
      .text = "Plan\n",
      .paragraph = notes_store::NoteParagraphStyleSpec{.style = notes_store::NoteParagraphStyle::kHeading}};
  notes_store::NoteRunSpec body{.text = "text"};
  const std::string blob = notes_store::gzipCompress(notes_store::encodeNoteDocument({heading, body}));
  const CommandResult decoded = run({"debug", "decode-body"}, blob);
  ASSERT_EQ(decoded.code, 0) << decoded.err;
  const auto json = nlohmann::json::parse(decoded.out);
  ASSERT_EQ(json["candidates"].size(), 2u);
  EXPECT_EQ(json["candidates"][0]["text"], "Plan\ntext");
  EXPECT_TRUE(json["candidates"][1]["text"].is_null());  // the gzip bytes themselves are no document
  EXPECT_EQ(json["markdown"], "## Plan\ntext\n");

  const std::string table = notes_store::gzipCompress(
      notes_store::encodeTableDocument({{"a", "b"}, {"c", "d"}}, {.rightToLeft = true}));
  const auto tableJson = nlohmann::json::parse(run({"debug", "decode-table"}, table).out);
  // Stored left to right; a right-to-left table shows each row reversed.
  EXPECT_EQ(tableJson["rows"], nlohmann::json::parse(R"([["b", "a"], ["d", "c"]])"));
  EXPECT_EQ(tableJson["direction"], "CRTableColumnDirectionRightToLeft");
  EXPECT_EQ(run({"debug", "decode-table"}, "not a table").code, 1);
}

TEST_F(CliAppTest, DatabaseLocationPrecedence) {
  const std::string library = writeLibrary();
  // The setting is used when nothing else is given...
  fs::create_directories(directory_ / "config");
  std::ofstream(directory_ / "config" / "settings.json") << R"({"notesDatabasePath": ")" << library << "\"}";
  EXPECT_EQ(run({"--config-dir", config(), "notes"}).code, 0);
  // ...the environment wins over the setting, and --db over both.
  environment_["ZEPHYL_NOTES_DB"] = (directory_ / "elsewhere").string();
  const CommandResult fromEnvironment = run({"--config-dir", config(), "notes"});
  EXPECT_EQ(fromEnvironment.code, 1);
  EXPECT_NE(fromEnvironment.err.find("ZEPHYL_NOTES_DB"), std::string::npos) << fromEnvironment.err;
  EXPECT_EQ(run({"--config-dir", config(), "--db", library, "notes"}).code, 0);
}

TEST_F(CliAppTest, MissingUnreadableAndCorruptDatabasesExitOneWithClearMessages) {
  const CommandResult missing = run({"notes"});
  EXPECT_EQ(missing.code, 1);
  EXPECT_NE(missing.err.find((directory_ / "home").string() +
                             "/Library/Group Containers/group.com.apple.notes/NoteStore.sqlite"),
            std::string::npos)
      << missing.err;
  EXPECT_NE(missing.err.find("--db PATH"), std::string::npos);

  // A folder where the file should be cannot be opened as a database; the store's
  // words for a corrupt file are NotesDatabaseAccessTest's.
  fs::create_directories(directory_ / "odd" / "NoteStore.sqlite");
  const CommandResult unreadable = run({"--db", (directory_ / "odd").string(), "notes"});
  EXPECT_EQ(unreadable.code, 1);
  EXPECT_TRUE(unreadable.err.starts_with("zephyl: Zephyl could not read the Apple Notes database: "))
      << unreadable.err;

  fs::create_directories(directory_ / "config");
  std::ofstream(directory_ / "config" / "settings.json") << "{ not json";
  const CommandResult malformed = run({"--config-dir", config(), "notes"});
  EXPECT_EQ(malformed.code, 1);
  EXPECT_NE(malformed.err.find("settings file is not valid JSON"), std::string::npos) << malformed.err;

  std::ofstream(directory_ / "config" / "settings.json") << R"({"notesDatabasePath": 123})";
  const CommandResult wrongType = run({"--config-dir", config(), "notes"});
  EXPECT_EQ(wrongType.code, 1);
  EXPECT_NE(wrongType.err.find("notesDatabasePath (it must be a string)"), std::string::npos)
      << wrongType.err;
}

TEST_F(CliAppTest, UsageErrorsExitTwo) {
  EXPECT_EQ(run({}).code, 2);
  const CommandResult unknown = run({"frobnicate"});
  EXPECT_EQ(unknown.code, 2);
  EXPECT_NE(unknown.err.find("frobnicate"), std::string::npos) << unknown.err;
  const CommandResult huge = run({"notes", "--limit", "-" + std::string(300, '9')});
  EXPECT_EQ(huge.code, 2);
  EXPECT_EQ(huge.err.find(std::string(100, '9')), std::string::npos) << huge.err;
  EXPECT_EQ(run({"notes", "--limit", "-3"}).code, 2);
  platform::testing::TestFolder folder;
  EXPECT_EQ(run({"debug", "decode-body", folder.path()}).code, 1);
  EXPECT_EQ(run({"sample-library"}).code, 2);
  const CommandResult help = run({"--help"});
  EXPECT_EQ(help.code, 0);
  EXPECT_NE(help.out.find("sample-library"), std::string::npos);
}

}  // namespace
}  // namespace zephyl::cli
