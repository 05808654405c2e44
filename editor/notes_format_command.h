// The seventeen formatting commands that Zephyl applies to Apple Notes. Markdown
// triggers, slash commands, the inline toolbar and the command palette all end
// in one of them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace zephyl::editor {

enum class NotesFormatCommand {
  kTitle,
  kHeading,
  kSubheading,
  kBody,
  kChecklist,
  kMonostyled,
  kQuote,
  kTable,
  kBold,
  kItalic,
  kUnderline,
  kStrikethrough,
  kAddLink,
  kBulletedList,
  kDashedList,
  kNumberedList,
  kHighlight,
};

inline constexpr std::array<NotesFormatCommand, 17> kAllNotesFormatCommands = {
    NotesFormatCommand::kTitle,        NotesFormatCommand::kHeading,      NotesFormatCommand::kSubheading,
    NotesFormatCommand::kBody,         NotesFormatCommand::kChecklist,    NotesFormatCommand::kMonostyled,
    NotesFormatCommand::kQuote,        NotesFormatCommand::kTable,        NotesFormatCommand::kBold,
    NotesFormatCommand::kItalic,       NotesFormatCommand::kUnderline,    NotesFormatCommand::kStrikethrough,
    NotesFormatCommand::kAddLink,      NotesFormatCommand::kBulletedList, NotesFormatCommand::kDashedList,
    NotesFormatCommand::kNumberedList, NotesFormatCommand::kHighlight,
};

// The raw value: "title", "bulletedList", ...
std::string_view notesFormatCommandIdentifier(NotesFormatCommand command);

// The command whose identifier is `identifier` exactly, or nullopt.
std::optional<NotesFormatCommand> notesFormatCommandFromIdentifier(std::string_view identifier);

// A keyboard shortcut as posted to Notes: key-down then key-up with these flags.
struct PostedShortcut {
  uint16_t keyCode = 0;
  uint64_t modifierFlags = 0;
  friend bool operator==(const PostedShortcut&, const PostedShortcut&) = default;
};

// Notes' own shortcut for the six paragraph commands that Markdown triggers
// produce; nullopt for the others, which are applied through their menu items.
std::optional<PostedShortcut> notesShortcutForCommand(NotesFormatCommand command);

// The other shortcuts the system posts.
inline constexpr PostedShortcut kPasteShortcut{9, 0x100000};  // Command+V
inline constexpr PostedShortcut kCopyShortcut{8, 0x100000};   // Command+C
inline constexpr PostedShortcut kRightArrowShortcut{124, 0};  // moves the caret after a write-back

}  // namespace zephyl::editor
