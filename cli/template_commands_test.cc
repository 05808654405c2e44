#include <gtest/gtest.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

#include "cli/cli_app.h"
#include "cli/internal/cli_test_support.h"
#include "editor/slash_command.h"
#include "notes_store/fixtures/note_document_writer.h"
#include "notes_store/fixtures/notes_library_builder.h"
#include "platform/testing/test_folder.h"

namespace zephyl::cli {
namespace {

namespace fs = std::filesystem;

using testing::CommandResult;

class TemplateCommandsTest : public testing::CommandTest {
 protected:
  TemplateCommandsTest() {
    fs::create_directories(config());
    leadingArguments_ = {"--config-dir", config()};
  }

  // `zephyl debug replay [OPTION] -` with `events` as the recording, without a library by default.
  CommandResult replay(const std::string& events, const std::string& option = "", std::string db = "") {
    if (db.empty()) db = (directory_ / "none" / "NoteStore.sqlite").string();
    std::vector<std::string> arguments = {"--db", db, "debug", "replay", "-"};
    if (!option.empty()) arguments.insert(arguments.end() - 1, option);
    return run(arguments, events);
  }

  // A root "Templates" folder (listed) and a "Templates" folder nested in
  // "Work" (ignored).
  std::string writeLibrary() {
    notes_store::NotesLibraryBuilder builder;
    const int64_t account = builder.addAccount({.name = "iCloud"});
    const int64_t root = builder.addFolder({.title = "Templates", .owner = account});
    const int64_t work = builder.addFolder({.title = "Work", .owner = account});
    const int64_t nested = builder.addFolder({.title = "Templates", .parent = work, .owner = account});
    const std::string body = notes_store::gzipCompress(notes_store::encodeNoteDocument(
        {{.text = "Standup\n",
          .paragraph = notes_store::NoteParagraphStyleSpec{.style = notes_store::NoteParagraphStyle::kTitle}},
         {.text = "On {{date}}, {{1st}} item"}}));
    builder.addNote({.title = "Standup",
                     .folder = root,
                     .account7 = account,
                     .snippet = "daily",
                     .modifiedAt = 200,
                     .bodyData = body});
    builder.addNote({.title = "Hidden", .folder = nested, .account7 = account, .modifiedAt = 300});
    const std::string path = (directory_ / "lib" / "NoteStore.sqlite").string();
    builder.write(path);
    return path;
  }
};

TEST_F(TemplateCommandsTest, ListShowExpandAndSlashTemplatesOfRootFoldersOnly) {
  const std::string db = writeLibrary();
  std::ofstream(directory_ / "config" / "settings.json") << R"({"templateDateFormat": "isoDate"})";

  const auto list = run({"--db", db, "templates", "list", "--json"});
  ASSERT_EQ(list.code, 0) << list.err;
  const auto rows = nlohmann::json::parse(list.out);
  ASSERT_EQ(rows.size(), 1u) << list.out;
  EXPECT_EQ(rows[0]["title"], "Standup");
  EXPECT_EQ(rows[0]["summary"], "daily");
  EXPECT_EQ(rows[0]["folderName"], "Templates");
  EXPECT_EQ(rows[0]["accountName"], "iCloud");
  EXPECT_TRUE(rows[0]["modifiedAt"].is_string());

  const auto show = run({"--db", db, "templates", "show", "standup"});
  ASSERT_EQ(show.code, 0) << show.err;
  EXPECT_EQ(show.out, "<h1>Standup</h1>\n<div>On {{date}}, {{1st}} item</div>\n");

  const auto expand = run({"--db", db, "templates", "expand", "Standup", "--json"});
  ASSERT_EQ(expand.code, 0) << expand.err;
  const std::string html = nlohmann::json::parse(expand.out)["html"];
  EXPECT_TRUE(std::regex_search(html, std::regex(R"(<div>On \d{4}-\d{2}-\d{2}, \{\{1st\}\} item</div>)")))
      << html;

  EXPECT_EQ(run({"--db", db, "templates", "show", "Hidden"}).code, 2);
  EXPECT_EQ(run({"--db", db, "templates", "expand"}).code, 2);
  EXPECT_EQ(run({"--db", db, "templates", "bogus"}).code, 2);
  const auto missing = run({"--db", (directory_ / "none" / "NoteStore.sqlite").string(), "templates"});
  EXPECT_EQ(missing.code, 1);
  EXPECT_FALSE(missing.err.empty());

  const auto all = run({"--db", db, "slash", "", "--json"});
  ASSERT_EQ(all.code, 0) << all.err;
  const auto slashRows = nlohmann::json::parse(all.out);
  ASSERT_EQ(slashRows.size(), editor::builtInSlashCommands().size() + 1);
  EXPECT_EQ(slashRows[0]["identifier"], "ask-ai");
  EXPECT_EQ(slashRows[13]["assetName"], nullptr);
  EXPECT_EQ(slashRows[14]["kind"], "insertTemplate");
  EXPECT_EQ(slashRows[14]["templateTitle"], "Standup");

  const auto stand = run({"--db", db, "slash", "STAND", "--json"});
  ASSERT_EQ(stand.code, 0) << stand.err;
  const auto found = nlohmann::json::parse(stand.out);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0]["title"], "Standup");

  // Without a library the panel still lists the built-in commands.
  const auto noLibrary = run({"--db", (directory_ / "none" / "NoteStore.sqlite").string(), "slash", "date"});
  ASSERT_EQ(noLibrary.code, 0) << noLibrary.err;
  EXPECT_TRUE(
      noLibrary.out.starts_with("date  Date  (insertDate)\ndate-time  Date & Time  (insertDateTime)\n"))
      << noLibrary.out;
}

constexpr const char* kNotesActivates =
    R"({"type":"activate","bundleID":"com.apple.Notes","name":"Notes","pid":501})"
    "\n";

// The order of triggers, panels and commands is AppControllerTest's; here, what the
// replay itself reads: comments and blank lines, each kind of event, settings that
// start at their defaults (the user's file is not read), --panels and the library's templates.
TEST_F(TemplateCommandsTest, ReplayReadsEachKindOfEvent) {
  std::ofstream(directory_ / "config" / "settings.json") << R"({"slashCommandDateFormat": "isoDate"})";
  const std::string today = [] {
    char text[16];
    const std::time_t now = std::time(nullptr);
    std::strftime(text, sizeof text, "%Y-%m-%d", std::localtime(&now));
    return std::string(text);
  }();
  const std::string typedToday = R"({"action":"typeText","text":")" + today + "\"}";
  const std::string slashTa = R"({"type":"text","text":"/ta"})";
  const struct {
    const char* name;
    std::vector<std::string> events;  // after Notes activates
    std::string option;
    bool library;
    std::vector<std::string> shown;   // lines of the output, in this order
    std::vector<std::string> absent;  // in no line
  } cases[] = {
      {"comments, blank lines, a key, default settings",
       {"# a comment, then a blank line", "", R"({"type":"text","text":"/date"})",
        R"({"type":"key","keyCode":36,"characters":"\r","flags":0})"},
       "",
       false,
       {R"({"status":"Slash command panel opened"})", R"({"action":"deleteBackward","count":5})",
        R"({"status":"Inserted date and time"})"},
       {typedToday}},
      {"a setting",
       {R"({"type":"setting","key":"slashCommandDateFormat","value":"isoDate"})",
        R"({"type":"text","text":"/date\n"})"},
       "",
       false,
       {typedToday},
       {}},
      {"settings, focus, panels and termination",
       {R"({"type":"setting","key":"markdownTriggersEnabled","value":false})",
        R"({"type":"text","text":"# "})",
        R"({"type":"setting","key":"markdownTriggersEnabled","value":null})",
        R"({"type":"focus","editorFocused":false,"role":"AXTextField"})", R"({"type":"text","text":"/"})",
        R"({"type":"focus","editorFocused":true})", R"({"type":"panel","name":"inlineAI","visible":true})",
        R"({"type":"key","keyCode":53,"characters":"\u001b"})", R"({"type":"terminate","pid":501})"},
       "",
       false,
       {R"({"status":"Notes editor focused"})", R"({"status":"Waiting for Apple Notes"})"},
       {"Applied", "Slash command panel"}},
      {"no panels unless asked", {slashTa}, "", false, {}, {R"("panel")"}},
      {"--panels", {slashTa}, "--panels", false, {R"({"panel":"slash","rows":["table")"}, {}},
      // A digit-first token is no placeholder.
      {"the library's templates",
       {R"({"type":"text","text":"/standup\n"})"},
       "",
       true,
       {R"({"action":"deleteBackward","count":8})", R"({"action":"paste","html":"<h1>Standup</h1>)",
        "{{1st}} item", R"({"status":"Inserted template"})"},
       {}},
  };
  const std::string library = writeLibrary();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::string events = kNotesActivates;
    for (const std::string& event : c.events) events += event + "\n";
    const CommandResult result = replay(events, c.option, c.library ? library : "");
    ASSERT_EQ(result.code, 0) << result.err;
    const std::vector<std::string> output = testing::outputLines(result.out);
    ASSERT_FALSE(output.empty());
    EXPECT_EQ(output[0], R"({"status":"Apple Notes is active"})");
    auto line = output.begin();
    for (const std::string& shown : c.shown) {
      line = std::find_if(line, output.end(),
                          [&](const std::string& l) { return l.find(shown) != std::string::npos; });
      EXPECT_NE(line, output.end()) << shown << " in\n" << result.out;
    }
    for (const std::string& absent : c.absent)
      EXPECT_EQ(result.out.find(absent), std::string::npos) << absent;
  }
}

TEST_F(TemplateCommandsTest, ReplayRejectsBadLinesNamingThem) {
  const auto badJson = replay(std::string(kNotesActivates) + "{\"type\":\n");
  EXPECT_EQ(badJson.code, 1);
  EXPECT_EQ(badJson.out, "{\"status\":\"Apple Notes is active\"}\n");  // what came before stays
  EXPECT_NE(badJson.err.find("line 2"), std::string::npos) << badJson.err;

  for (const std::string event : {R"({"type":"wave"})", R"({"type":"key","keyCode":70000})",
                                  R"({"type":"focus"})", R"({"type":"activate","pid":"x"})",
                                  R"({"type":"panel","name":"sidebar","visible":true})", R"([1,2])"}) {
    const auto result = replay(event + "\n");
    EXPECT_EQ(result.code, 1) << event;
    EXPECT_NE(result.err.find("line 1: "), std::string::npos) << event << ": " << result.err;
  }
  const auto missing = run({"debug", "replay", (directory_ / "absent.jsonl").string()});
  EXPECT_EQ(missing.code, 1);
  EXPECT_NE(missing.err.find("Cannot read"), std::string::npos);
}

}  // namespace
}  // namespace zephyl::cli
