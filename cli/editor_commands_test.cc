#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "cli/cli_app.h"
#include "cli/internal/cli_test_support.h"
#include "editor/notes_format_command.h"
#include "editor/notes_menu_click_script.h"

namespace zephyl::cli {
namespace {

using testing::CommandResult;

CommandResult run(std::vector<std::string> arguments, const std::string& input = "") {
  return testing::runCommand(arguments, {}, input);
}

// What is recognised is MarkdownTriggerEngineTest's; here, each line's fields and --full-width.
TEST(EditorCommands, TriggersPrintOneJsonLinePerRecognisedTrigger) {
  const CommandResult result = run({"triggers"}, "## Plan\n[ ] milk\n【】 ");
  ASSERT_EQ(result.code, 0) << result.err;
  const auto lines = testing::outputLines<nlohmann::json>(result.out);
  ASSERT_EQ(lines.size(), 2u) << result.out;
  EXPECT_EQ(lines[0]["kind"], "heading");
  EXPECT_EQ(lines[0]["text"], "##");
  EXPECT_EQ(lines[0]["triggerInput"], "## ");
  EXPECT_EQ(lines[0]["charactersToRemove"], 3);
  EXPECT_EQ(lines[0]["command"], "heading");
  EXPECT_EQ(lines[0]["shortcut"], nlohmann::json::parse(R"({"keyCode":4,"modifierFlags":1179648})"));
  EXPECT_EQ(lines[0]["id"].get<std::string>().size(), 36u);
  EXPECT_NE(lines[0]["id"], lines[1]["id"]);
  EXPECT_TRUE(lines[0]["createdAt"].get<std::string>().ends_with("Z"));

  const auto fullWidth = testing::outputLines<nlohmann::json>(run({"triggers", "--full-width"}, "【】 ").out);
  ASSERT_EQ(fullWidth.size(), 1u);
  EXPECT_EQ(fullWidth[0]["command"], "checklist");
}

TEST(EditorCommands, FormatPrintsTheShortcutOrTheMenuScript) {
  struct Case {
    std::vector<std::string> arguments;
    int code;
    std::string out;
  };
  const std::vector<Case> cases = {
      {{"format", "heading"}, 0, "keyCode 4 modifierFlags 0x120000 (Shift+Command)\n"},
      {{"format", "quote", "--shortcut"}, 0, "keyCode 39 modifierFlags 0x100000 (Command)\n"},
      {{"format", "bold"}, 0, editor::NotesMenuClickScript::forCommand(editor::NotesFormatCommand::kBold)},
      {{"format", "heading", "--script"},
       0,
       editor::NotesMenuClickScript::forCommand(editor::NotesFormatCommand::kHeading)},
      {{"format", "bold", "--shortcut"}, 1, ""},
      {{"format", "bogus"}, 2, ""},
      {{"format"}, 2, ""},
      {{"format", "title", "--script", "--shortcut"}, 2, ""},
  };
  for (const auto& test : cases) {
    const CommandResult result = run(test.arguments);
    EXPECT_EQ(result.code, test.code) << test.arguments.back() << ": " << result.err;
    EXPECT_EQ(result.out, test.out) << test.arguments.back();
  }
  EXPECT_NE(run({"format", "bold", "--shortcut"}).err.find("no keyboard shortcut"), std::string::npos);
}

}  // namespace
}  // namespace zephyl::cli
