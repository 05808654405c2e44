// Where each formatting command's menu item lies in Apple Notes' menus, and
// whether its check mark tells that the command is in effect at the caret.
#pragma once

#include <array>
#include <vector>

#include "editor/notes_format_command.h"

namespace zephyl::editor {

enum class NotesFormatMenu { kFormat, kFontSubmenu, kEdit };

struct NotesFormatMenuEntry {
  NotesFormatCommand command;
  NotesFormatMenu menu;
  bool readsCheckMark;
};

class NotesFormatMenuTable {
 public:
  // Seventeen rows in the order commands are listed to the user.
  static const std::array<NotesFormatMenuEntry, 17>& entries();

  // The row of `command`.
  static const NotesFormatMenuEntry& entry(NotesFormatCommand command);

  // Derived once from the table: the commands whose check marks are read, in
  // the Format menu and in its Font submenu.
  static const std::vector<NotesFormatCommand>& formatMenuCheckMarkCommands();
  static const std::vector<NotesFormatCommand>& fontMenuCheckMarkCommands();
};

}  // namespace zephyl::editor
