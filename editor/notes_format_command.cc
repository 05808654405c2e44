#include "editor/notes_format_command.h"

namespace zephyl::editor {

std::string_view notesFormatCommandIdentifier(NotesFormatCommand command) {
  switch (command) {
    case NotesFormatCommand::title: return "title";
    case NotesFormatCommand::heading: return "heading";
    case NotesFormatCommand::subheading: return "subheading";
    case NotesFormatCommand::body: return "body";
    case NotesFormatCommand::checklist: return "checklist";
    case NotesFormatCommand::monostyled: return "monostyled";
    case NotesFormatCommand::quote: return "quote";
    case NotesFormatCommand::table: return "table";
    case NotesFormatCommand::bold: return "bold";
    case NotesFormatCommand::italic: return "italic";
    case NotesFormatCommand::underline: return "underline";
    case NotesFormatCommand::strikethrough: return "strikethrough";
    case NotesFormatCommand::addLink: return "addLink";
    case NotesFormatCommand::bulletedList: return "bulletedList";
    case NotesFormatCommand::dashedList: return "dashedList";
    case NotesFormatCommand::numberedList: return "numberedList";
    case NotesFormatCommand::highlight: return "highlight";
  }
  return "";
}

std::optional<NotesFormatCommand> notesFormatCommandFromIdentifier(std::string_view identifier) {
  for (NotesFormatCommand command : kAllNotesFormatCommands) {
    if (notesFormatCommandIdentifier(command) == identifier) return command;
  }
  return std::nullopt;
}

std::optional<PostedShortcut> notesShortcutForCommand(NotesFormatCommand command) {
  constexpr uint64_t kShiftCommand = 0x120000;
  constexpr uint64_t kCommand = 0x100000;
  switch (command) {
    case NotesFormatCommand::title: return PostedShortcut{17, kShiftCommand};
    case NotesFormatCommand::heading: return PostedShortcut{4, kShiftCommand};
    case NotesFormatCommand::subheading: return PostedShortcut{38, kShiftCommand};
    case NotesFormatCommand::checklist: return PostedShortcut{37, kShiftCommand};
    case NotesFormatCommand::monostyled: return PostedShortcut{46, kShiftCommand};
    case NotesFormatCommand::quote: return PostedShortcut{39, kCommand};
    default: return std::nullopt;
  }
}

}  // namespace zephyl::editor
