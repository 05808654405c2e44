// The System Events scripts that click a formatting command's menu item in
// Apple Notes. Menus and items are found by their localised titles; a script
// raises one of NotesFormattingError's texts when a level cannot be found.
#pragma once

#include <string>
#include <vector>

#include "editor/notes_format_command.h"
#include "editor/notes_format_menu_table.h"

namespace zephyl::editor {

class NotesMenuClickScript {
 public:
  // The whole script for `command`, one line per line feed, ending with a line feed.
  static std::string forCommand(NotesFormatCommand command);

  // The titles a script searches; forCommand takes them from NotesMenuTitles.
  struct Titles {
    std::vector<std::string> formatMenu;
    std::vector<std::string> fontMenu;
    std::vector<std::string> editMenu;
    std::vector<std::string> item;
  };

  // The script that clicks the item titled by `titles.item` in `menu`.
  static std::string forMenuItem(NotesFormatMenu menu, const Titles& titles);

  // `titles` as a script list: a set, sorted in ascending byte order, each title
  // in double quotes with inner double quotes doubled, joined by ", ", in braces.
  static std::string scriptList(const std::vector<std::string>& titles);

  // `text` in double quotes with inner double quotes doubled.
  static std::string quoted(const std::string& text);
};

}  // namespace zephyl::editor
