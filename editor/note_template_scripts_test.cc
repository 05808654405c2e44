#include "editor/note_template_scripts.h"

#include <gtest/gtest.h>

namespace zephyl::editor {
namespace {

std::string row(std::vector<std::string> fields) {
  std::string text;
  for (size_t i = 0; i < fields.size(); ++i) text += (i ? "\x1F" : "") + fields[i];
  return text;
}

TEST(NoteTemplateScripts, FetchScriptReadsRootTemplateFoldersInsideTheTimeout) {
  const std::string script = NoteTemplateScripts::fetchScript(7);
  EXPECT_TRUE(script.starts_with("with timeout of 7 seconds\n  tell application \"Notes\"\n")) << script;
  EXPECT_TRUE(script.ends_with("  end tell\nend timeout\n"));
  for (const char* line :
       {"set rowSeparator to ASCII character 30", "set fieldSeparator to ASCII character 31",
        "set templateFolderNames to {\"Templates\", \"templates\"}",
        "if (container of aFolder) is (contents of anAccount) and templateFolderNames contains "
        "folderName then",
        "set folderID to accountName & \":\" & folderName", "return outputText"}) {
    EXPECT_NE(script.find(line), std::string::npos) << line;
  }
  // The id fallback sits in the error branch of the id lookup.
  EXPECT_LT(script.find("on error"), script.find("set folderID to accountName"));
}

TEST(NoteTemplateScripts, ParsesTemplateRowsAndSkipsTheRest) {
  const std::string output =
      row({"folder", "iCloud:Templates", "Templates", "iCloud"}) + "\x1E" +
      row({"template", "iCloud:Templates", "Templates", "iCloud", "x-coredata://S/ICNote/p1", "Weekly", "",
           "<div>a\x1F"
           "b</div>"}) +
      "\x1E" + row({"template", "F2", "templates", "On My Mac", "n2", "", "", "<div>x</div>"}) + "\x1E" +
      row({"template", "F3", "Templates", "iCloud", "n3", "Short"}) + "\x1E" + row({"mystery", "1"}) + "\n";
  const auto templates = NoteTemplateScripts::parseFetchOutput(output);
  ASSERT_EQ(templates.size(), 2u);
  EXPECT_EQ(templates[0].folderID, "iCloud:Templates");
  EXPECT_EQ(templates[0].accountName, "iCloud");
  EXPECT_EQ(templates[0].noteID, "x-coredata://S/ICNote/p1");
  EXPECT_EQ(templates[0].displayTitle, "Weekly");
  EXPECT_EQ(templates[0].htmlBody,
            "<div>a\x1F"
            "b</div>");
  EXPECT_EQ(templates[1].folderName, "templates");
  EXPECT_EQ(templates[1].title, "");
  EXPECT_EQ(templates[1].displayTitle, "Untitled Template");
  EXPECT_EQ(templates[1].htmlBody, "<div>x</div>");
  EXPECT_TRUE(NoteTemplateScripts::parseFetchOutput("").empty());
  EXPECT_TRUE(NoteTemplateScripts::parseFetchOutput("\n").empty());
}

TEST(NoteTemplateScripts, InstallScriptChecksKnownTitlesBeforeMakingANote) {
  BuiltInNoteTemplate builtIn{"Quote \"Me\"", "s", "<div>a\\b</div>\n<div>c</div>", {"Quote \"Me\"", "Old"}};
  const std::string script = NoteTemplateScripts::installScript(builtIn);
  EXPECT_TRUE(script.starts_with("with timeout of 20 seconds\n"));
  EXPECT_NE(script.find("if (count of accounts) is 0 then error \"No Apple Notes account is available.\""),
            std::string::npos);
  EXPECT_NE(script.find("if (name of anAccount as text) is \"iCloud\" then"), std::string::npos);
  EXPECT_NE(script.find("make new folder at targetAccount with properties {name:\"Templates\"}"),
            std::string::npos);
  EXPECT_NE(script.find("set knownTitles to {\"Quote \\\"Me\\\"\", \"Old\"}"), std::string::npos);
  EXPECT_NE(script.find("set templateBody to \"<div>a\\\\b</div>\\n<div>c</div>\""), std::string::npos);
  const size_t existing = script.find("then return \"existing\"");
  const size_t make = script.find("make new note at templateFolder");
  ASSERT_NE(existing, std::string::npos);
  ASSERT_NE(make, std::string::npos);
  EXPECT_LT(existing, make);
  EXPECT_LT(make, script.find("return \"created\""));
  // The folder is looked up before one is created, so a second install finds it.
  EXPECT_LT(script.find("templateFolderNames contains"), script.find("make new folder"));

  using Result = NoteTemplateScripts::InstallResult;
  EXPECT_EQ(NoteTemplateScripts::parseInstallOutput("existing\n"), Result::kExisting);
  EXPECT_EQ(NoteTemplateScripts::parseInstallOutput(" created"), Result::kCreated);
  EXPECT_EQ(NoteTemplateScripts::parseInstallOutput("Created"), std::nullopt);
  EXPECT_EQ(NoteTemplateScripts::parseInstallOutput(""), std::nullopt);
}

}  // namespace
}  // namespace zephyl::editor
