// A recognised Markdown trigger: what was typed, what it becomes, and how many
// characters before the caret the controller removes before applying it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/apple_time.h"
#include "editor/notes_format_command.h"

namespace zephyl::editor {

enum class TriggerKind {
  kSlashCommand,
  kNoteLink,
  kTitle,
  kHeading,
  kSubheading,
  kChecklist,
  kMonostyled,
  kQuote
};

// The raw value: "slashCommand", "noteLink", "title", ...
std::string_view triggerKindIdentifier(TriggerKind kind);

// The formatting command a trigger of `kind` applies; nullopt for the slash
// command and the note link, which the controller handles itself.
std::optional<NotesFormatCommand> formatCommandForTrigger(TriggerKind kind);

struct TriggerEvent {
  std::string identifier;  // a fresh UUID per event
  TriggerKind kind = TriggerKind::kTitle;
  std::string text;          // the syntax without its trailing blank
  std::string triggerInput;  // the exact input that matched
  int charactersToRemove = 0;
  core::TimePoint createdAt;
};

}  // namespace zephyl::editor
