#include "editor/notes_format_menu_table.h"

namespace zephyl::editor {
namespace {

using C = NotesFormatCommand;
using M = NotesFormatMenu;

std::vector<NotesFormatCommand> checkMarkCommandsOf(NotesFormatMenu menu) {
  std::vector<NotesFormatCommand> commands;
  for (const auto& row : NotesFormatMenuTable::entries()) {
    if (row.menu == menu && row.readsCheckMark) commands.push_back(row.command);
  }
  return commands;
}

}  // namespace

const std::array<NotesFormatMenuEntry, 17>& NotesFormatMenuTable::entries() {
  static constexpr std::array<NotesFormatMenuEntry, 17> kRows = {{
      {C::kTitle, M::kFormat, true},
      {C::kHeading, M::kFormat, true},
      {C::kSubheading, M::kFormat, true},
      {C::kBody, M::kFormat, true},
      {C::kMonostyled, M::kFormat, true},
      {C::kBulletedList, M::kFormat, true},
      {C::kDashedList, M::kFormat, true},
      {C::kNumberedList, M::kFormat, true},
      {C::kChecklist, M::kFormat, true},
      {C::kQuote, M::kFormat, true},
      {C::kTable, M::kFormat, false},
      {C::kBold, M::kFontSubmenu, true},
      {C::kItalic, M::kFontSubmenu, true},
      {C::kUnderline, M::kFontSubmenu, true},
      {C::kStrikethrough, M::kFontSubmenu, true},
      {C::kHighlight, M::kFontSubmenu, true},
      {C::kAddLink, M::kEdit, false},
  }};
  return kRows;
}

const NotesFormatMenuEntry& NotesFormatMenuTable::entry(NotesFormatCommand command) {
  for (const auto& row : entries()) {
    if (row.command == command) return row;
  }
  // Every command has a row; the table test walks all seventeen.
  return entries().front();
}

const std::vector<NotesFormatCommand>& NotesFormatMenuTable::formatMenuCheckMarkCommands() {
  static const std::vector<NotesFormatCommand> commands = checkMarkCommandsOf(NotesFormatMenu::kFormat);
  return commands;
}

const std::vector<NotesFormatCommand>& NotesFormatMenuTable::fontMenuCheckMarkCommands() {
  static const std::vector<NotesFormatCommand> commands = checkMarkCommandsOf(NotesFormatMenu::kFontSubmenu);
  return commands;
}

}  // namespace zephyl::editor
