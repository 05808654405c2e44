#include "editor/notes_menu_click_script.h"

#include <set>

#include "editor/notes_format_menu_table.h"
#include "editor/notes_formatting_error.h"
#include "editor/notes_menu_titles.h"

namespace zephyl::editor {
namespace {

using Code = NotesFormattingError::Code;

class ScriptBody {
 public:
  void line(int indent, const std::string& text) { lines_.push_back(std::string(indent, ' ') + text); }

  // Finds a top-level menu of the menu bar by its titles into `variable`.
  void findMenu(const std::string& variable, const std::vector<std::string>& titles, Code error) {
    line(0, "set " + variable + " to missing value");
    line(0, "repeat with menuBarItem in menu bar items of menu bar 1");
    line(2,
         "if " + NotesMenuClickScript::scriptList(titles) + " contains (name of menuBarItem as text) then");
    line(4, "set " + variable + " to menu 1 of menuBarItem");
    line(4, "exit repeat");
    line(2, "end if");
    line(0, "end repeat");
    line(0, "if " + variable + " is missing value then error " + errorText(error));
  }

  void findFontMenu(const std::vector<std::string>& titles) {
    line(0, "set fontMenu to missing value");
    line(0, "repeat with menuEntry in menu items of formatMenu");
    line(2, "if " + NotesMenuClickScript::scriptList(titles) + " contains (name of menuEntry as text) then");
    line(4, "set fontMenu to menu 1 of menuEntry");
    line(4, "exit repeat");
    line(2, "end if");
    line(0, "end repeat");
    line(0, "if fontMenu is missing value then error " + errorText(Code::kFontMenuUnavailable));
  }

  // Clicks the first of `titles` that exists in `menu`, recording it in `flag`.
  void clickLoop(const std::string& menu, const std::vector<std::string>& titles, const std::string& flag) {
    line(0, "set " + flag + " to false");
    line(0, "repeat with itemName in " + NotesMenuClickScript::scriptList(titles));
    line(2, "set itemTitle to itemName as text");
    line(2, "if exists menu item itemTitle of " + menu + " then");
    line(4, "click menu item itemTitle of " + menu);
    line(4, "set " + flag + " to true");
    line(4, "exit repeat");
    line(2, "end if");
    line(0, "end repeat");
  }

  void clickItem(const std::string& menu, const std::vector<std::string>& titles, Code error) {
    clickLoop(menu, titles, "clickedItem");
    line(0, "if clickedItem is false then error " + errorText(error));
  }

  void clickLink(const std::vector<std::string>& titles) {
    clickLoop("editMenu", titles, "clickedLink");
    line(0, "if clickedLink is false then");
    line(2, "error " + errorText(Code::kLinkMenuItemUnavailable));
    line(0, "end if");
  }

  std::string script() const {
    std::string text = "tell application " + NotesMenuClickScript::quoted("System Events") + "\n";
    text += "  tell process " + NotesMenuClickScript::quoted("Notes") + "\n";
    for (const auto& bodyLine : lines_) text += "    " + bodyLine + "\n";
    text += "  end tell\nend tell\n";
    return text;
  }

 private:
  static std::string errorText(Code code) {
    return NotesMenuClickScript::quoted(std::string(NotesFormattingError::text(code)));
  }

  std::vector<std::string> lines_;
};

}  // namespace

std::string NotesMenuClickScript::quoted(const std::string& text) {
  std::string result = "\"";
  for (char c : text) {
    if (c == '"') result += '"';
    result += c;
  }
  result += '"';
  return result;
}

std::string NotesMenuClickScript::scriptList(const std::vector<std::string>& titles) {
  const std::set<std::string> sorted(titles.begin(), titles.end());
  std::string list = "{";
  bool first = true;
  for (const auto& title : sorted) {
    if (!first) list += ", ";
    first = false;
    list += quoted(title);
  }
  list += "}";
  return list;
}

std::string NotesMenuClickScript::forCommand(NotesFormatCommand command) {
  return forMenuItem(NotesFormatMenuTable::entry(command).menu,
                     Titles{NotesMenuTitles::formatMenu(), NotesMenuTitles::fontMenu(),
                            NotesMenuTitles::editMenu(), NotesMenuTitles::item(command)});
}

std::string NotesMenuClickScript::forMenuItem(NotesFormatMenu menu, const Titles& titles) {
  ScriptBody body;
  switch (menu) {
    case NotesFormatMenu::kFormat:
      body.findMenu("formatMenu", titles.formatMenu, Code::kFormatMenuUnavailable);
      body.clickItem("formatMenu", titles.item, Code::kFormatMenuItemUnavailable);
      break;
    case NotesFormatMenu::kFontSubmenu:
      body.findMenu("formatMenu", titles.formatMenu, Code::kFormatMenuUnavailable);
      body.findFontMenu(titles.fontMenu);
      body.clickItem("fontMenu", titles.item, Code::kFontMenuItemUnavailable);
      break;
    case NotesFormatMenu::kEdit:
      body.findMenu("editMenu", titles.editMenu, Code::kEditMenuUnavailable);
      body.clickLink(titles.item);
      break;
  }
  return body.script();
}

}  // namespace zephyl::editor
