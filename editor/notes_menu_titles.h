// The titles under which Apple Notes shows its Format menu, Font submenu, Edit
// menu and each formatting item, across the languages Notes runs in. Menus are
// found by title because System Events and accessibility offer nothing steadier.
// Lists hold English first; order carries no meaning (scripts sort them).
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "editor/notes_format_command.h"

namespace zephyl::editor {

class NotesMenuTitles {
 public:
  static const std::vector<std::string>& formatMenu();
  static const std::vector<std::string>& fontMenu();
  static const std::vector<std::string>& editMenu();

  // The titles of `command`'s menu item (for addLink, the Edit menu's link item).
  static const std::vector<std::string>& item(NotesFormatCommand command);

  // The command whose item carries `title` in some language, among `candidates`.
  static std::optional<NotesFormatCommand> commandForItemTitle(
      std::string_view title, const std::vector<NotesFormatCommand>& candidates);
};

}  // namespace zephyl::editor
