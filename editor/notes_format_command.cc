#include "editor/notes_format_command.h"

namespace zephyl::editor {

std::string_view notesFormatCommandIdentifier(NotesFormatCommand command) {
  switch (command) {
    case NotesFormatCommand::kTitle:
      return "title";
    case NotesFormatCommand::kHeading:
      return "heading";
    case NotesFormatCommand::kSubheading:
      return "subheading";
    case NotesFormatCommand::kBody:
      return "body";
    case NotesFormatCommand::kChecklist:
      return "checklist";
    case NotesFormatCommand::kMonostyled:
      return "monostyled";
    case NotesFormatCommand::kQuote:
      return "quote";
    case NotesFormatCommand::kTable:
      return "table";
    case NotesFormatCommand::kBold:
      return "bold";
    case NotesFormatCommand::kItalic:
      return "italic";
    case NotesFormatCommand::kUnderline:
      return "underline";
    case NotesFormatCommand::kStrikethrough:
      return "strikethrough";
    case NotesFormatCommand::kAddLink:
      return "addLink";
    case NotesFormatCommand::kBulletedList:
      return "bulletedList";
    case NotesFormatCommand::kDashedList:
      return "dashedList";
    case NotesFormatCommand::kNumberedList:
      return "numberedList";
    case NotesFormatCommand::kHighlight:
      return "highlight";
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
    case NotesFormatCommand::kTitle:
      return PostedShortcut{17, kShiftCommand};
    case NotesFormatCommand::kHeading:
      return PostedShortcut{4, kShiftCommand};
    case NotesFormatCommand::kSubheading:
      return PostedShortcut{38, kShiftCommand};
    case NotesFormatCommand::kChecklist:
      return PostedShortcut{37, kShiftCommand};
    case NotesFormatCommand::kMonostyled:
      return PostedShortcut{46, kShiftCommand};
    case NotesFormatCommand::kQuote:
      return PostedShortcut{39, kCommand};
    default:
      return std::nullopt;
  }
}

}  // namespace zephyl::editor
