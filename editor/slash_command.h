// The rows of the slash-command panel: the fourteen built-in commands (format
// the paragraph, insert the date, the time or a table, ask the assistant) and
// one row per note template.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "editor/note_template.h"
#include "editor/notes_format_command.h"

namespace zephyl::editor {

enum class SlashCommandKind {
  kInsertTemplate,
  kAskAI,
  kFormatTitle,
  kFormatHeading,
  kFormatSubheading,
  kFormatBody,
  kFormatChecklist,
  kFormatBulletedList,
  kFormatNumberedList,
  kInsertDate,
  kInsertTime,
  kInsertDateTime,
  kFormatMonostyled,
  kFormatQuote,
  kInsertTable,
};

struct SlashCommand {
  std::string identifier;
  std::string titleKey;       // the display title
  std::string templateTitle;  // template rows only
  std::string assetName;      // the panel's illustration; empty when there is none
  std::string systemImage;    // fallback symbol
  std::vector<std::string> aliases;
  SlashCommandKind kind = SlashCommandKind::kAskAI;
  std::optional<NoteTemplate> noteTemplate;  // set for insertTemplate

  friend bool operator==(const SlashCommand&, const SlashCommand&) = default;
};

// The built-in commands in the order the panel lists them.
const std::vector<SlashCommand>& builtInSlashCommands();

// The row that pastes `noteTemplate`: identifier "template:" + its note id,
// titled by its display title, found by its title and the word "template".
SlashCommand slashCommandForTemplate(const NoteTemplate& noteTemplate);

// The formatting command a format kind (and insertTable) applies; nullopt for
// the kinds that insert text, open the assistant or paste a template.
std::optional<NotesFormatCommand> notesFormatCommandForSlashKind(SlashCommandKind kind);

// "insertTemplate", "askAI", ...: the kind's name as written in code.
std::string_view slashCommandKindName(SlashCommandKind kind);

}  // namespace zephyl::editor
