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
      {C::title, M::format, true},
      {C::heading, M::format, true},
      {C::subheading, M::format, true},
      {C::body, M::format, true},
      {C::monostyled, M::format, true},
      {C::bulletedList, M::format, true},
      {C::dashedList, M::format, true},
      {C::numberedList, M::format, true},
      {C::checklist, M::format, true},
      {C::quote, M::format, true},
      {C::table, M::format, false},
      {C::bold, M::fontSubmenu, true},
      {C::italic, M::fontSubmenu, true},
      {C::underline, M::fontSubmenu, true},
      {C::strikethrough, M::fontSubmenu, true},
      {C::highlight, M::fontSubmenu, true},
      {C::addLink, M::edit, false},
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
  static const std::vector<NotesFormatCommand> commands = checkMarkCommandsOf(NotesFormatMenu::format);
  return commands;
}

const std::vector<NotesFormatCommand>& NotesFormatMenuTable::fontMenuCheckMarkCommands() {
  static const std::vector<NotesFormatCommand> commands = checkMarkCommandsOf(NotesFormatMenu::fontSubmenu);
  return commands;
}

}  // namespace zephyl::editor
