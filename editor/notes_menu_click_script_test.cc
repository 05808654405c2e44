#include "editor/notes_menu_click_script.h"

#include <gtest/gtest.h>

#include "editor/notes_menu_titles.h"

namespace zephyl::editor {
namespace {

TEST(NotesMenuClickScript, ScriptListsAreSortedSetsWithDoubledQuotes) {
  struct Case {
    std::vector<std::string> titles;
    std::string list;
  };
  const std::vector<Case> cases = {
      {{}, "{}"},
      {{"Format"}, "{\"Format\"}"},
      {{"Formato", "Format", "Formato"}, "{\"Format\", \"Formato\"}"},
      {{"Say \"Hi\"", "Add"}, "{\"Add\", \"Say \"\"Hi\"\"\"}"},
      // Byte order: upper case before lower case, Latin before Cyrillic and Japanese.
      {{"フォーマット", "Формат", "format", "Format"},
       "{\"Format\", \"format\", \"Формат\", \"フォーマット\"}"},
  };
  for (const auto& test : cases) EXPECT_EQ(NotesMenuClickScript::scriptList(test.titles), test.list);
}

const NotesMenuClickScript::Titles kTitles{
    {"Formato", "Format"}, {"Font", "Police"}, {"Edit", "Édition"}, {"Say \"Hi\"", "Heading", "Heading"}};

TEST(NotesMenuClickScript, FormatMenuItemAndFontSubmenuItemScripts) {
  const std::string findFormatMenu =
      "tell application \"System Events\"\n"
      "  tell process \"Notes\"\n"
      "    set formatMenu to missing value\n"
      "    repeat with menuBarItem in menu bar items of menu bar 1\n"
      "      if {\"Format\", \"Formato\"} contains (name of menuBarItem as text) then\n"
      "        set formatMenu to menu 1 of menuBarItem\n"
      "        exit repeat\n"
      "      end if\n"
      "    end repeat\n"
      "    if formatMenu is missing value then error \"Notes format menu is unavailable\"\n";
  // Clicks the first of the item titles found in `menu`.
  const auto clickIn = [](const std::string& menu, const std::string& name) {
    return "    set clickedItem to false\n"
           "    repeat with itemName in {\"Heading\", \"Say \"\"Hi\"\"\"}\n"
           "      set itemTitle to itemName as text\n"
           "      if exists menu item itemTitle of " +
           menu +
           " then\n"
           "        click menu item itemTitle of " +
           menu +
           "\n"
           "        set clickedItem to true\n"
           "        exit repeat\n"
           "      end if\n"
           "    end repeat\n"
           "    if clickedItem is false then error \"Notes " +
           name +
           " menu item is unavailable\"\n"
           "  end tell\n"
           "end tell\n";
  };
  EXPECT_EQ(NotesMenuClickScript::forMenuItem(NotesFormatMenu::kFormat, kTitles),
            findFormatMenu + clickIn("formatMenu", "format"));
  EXPECT_EQ(NotesMenuClickScript::forMenuItem(NotesFormatMenu::kFontSubmenu, kTitles),
            findFormatMenu +
                "    set fontMenu to missing value\n"
                "    repeat with menuEntry in menu items of formatMenu\n"
                "      if {\"Font\", \"Police\"} contains (name of menuEntry as text) then\n"
                "        set fontMenu to menu 1 of menuEntry\n"
                "        exit repeat\n"
                "      end if\n"
                "    end repeat\n"
                "    if fontMenu is missing value then error \"Notes font menu is unavailable\"\n" +
                clickIn("fontMenu", "font"));
}

TEST(NotesMenuClickScript, AddLinkScriptUsesOnlyTheEditMenu) {
  const std::string expected =
      "tell application \"System Events\"\n"
      "  tell process \"Notes\"\n"
      "    set editMenu to missing value\n"
      "    repeat with menuBarItem in menu bar items of menu bar 1\n"
      "      if {\"Edit\", \"Édition\"} contains (name of menuBarItem as text) then\n"
      "        set editMenu to menu 1 of menuBarItem\n"
      "        exit repeat\n"
      "      end if\n"
      "    end repeat\n"
      "    if editMenu is missing value then error \"Notes edit menu is unavailable\"\n"
      "    set clickedLink to false\n"
      "    repeat with itemName in {\"Heading\", \"Say \"\"Hi\"\"\"}\n"
      "      set itemTitle to itemName as text\n"
      "      if exists menu item itemTitle of editMenu then\n"
      "        click menu item itemTitle of editMenu\n"
      "        set clickedLink to true\n"
      "        exit repeat\n"
      "      end if\n"
      "    end repeat\n"
      "    if clickedLink is false then\n"
      "      error \"Notes link menu item is unavailable\"\n"
      "    end if\n"
      "  end tell\n"
      "end tell\n";
  EXPECT_EQ(NotesMenuClickScript::forMenuItem(NotesFormatMenu::kEdit, kTitles), expected);
  const std::string real = NotesMenuClickScript::forCommand(NotesFormatCommand::kAddLink);
  EXPECT_EQ(real.find("formatMenu"), std::string::npos);
  EXPECT_NE(real.find(NotesMenuClickScript::scriptList(NotesMenuTitles::editMenu())), std::string::npos);
  EXPECT_NE(real.find("\"Add Link…\""), std::string::npos);
}

TEST(NotesMenuClickScript, EveryCommandSearchesItsOwnLocalisedTitles) {
  for (NotesFormatCommand command : kAllNotesFormatCommands) {
    const std::string script = NotesMenuClickScript::forCommand(command);
    const auto& titles = NotesMenuTitles::item(command);
    ASSERT_FALSE(titles.empty());
    EXPECT_NE(script.find("repeat with itemName in " + NotesMenuClickScript::scriptList(titles) + "\n"),
              std::string::npos)
        << notesFormatCommandIdentifier(command);
    const bool font = NotesFormatMenuTable::entry(command).menu == NotesFormatMenu::kFontSubmenu;
    EXPECT_EQ(script.find(NotesMenuClickScript::scriptList(NotesMenuTitles::fontMenu())) != std::string::npos,
              font)
        << notesFormatCommandIdentifier(command);
  }
  // Rows that the table must carry for Notes in those languages.
  const auto& subheading = NotesMenuTitles::item(NotesFormatCommand::kSubheading);
  EXPECT_NE(std::find(subheading.begin(), subheading.end(), "Unterüberschrift"), subheading.end());
  const auto& format = NotesMenuTitles::formatMenu();
  EXPECT_NE(std::find(format.begin(), format.end(), "フォーマット"), format.end());
}

}  // namespace
}  // namespace zephyl::editor
