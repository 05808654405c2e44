// The typed syntaxes that become Apple Notes formatting: an ASCII set and a
// full-width set for CJK input methods. The definitions feed the settings pane;
// the recognition table is what the trigger engine matches a line against.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "editor/notes_format_command.h"
#include "editor/trigger_event.h"

namespace zephyl::editor {

class MarkdownTriggerSyntax {
 public:
  struct TriggerDefinition {
    std::string identifier;
    std::string title;
    std::vector<std::string> inputs;
  };

  // One row of the settings pane: a definition and what it does.
  struct Row {
    TriggerDefinition definition;
    bool fullWidth = false;                     // shown only with fullWidthMarkdownTriggersEnabled
    std::optional<NotesFormatCommand> command;  // nullopt for the note link
  };

  struct Recognition {
    std::string input;
    TriggerKind kind;
    std::string text;
    int charactersToRemove;
  };

  // The ASCII rows (on with markdownTriggersEnabled), then the full-width rows.
  static const std::vector<Row>& rows();

  // What the engine matches a whole line against: the ASCII entries, followed
  // by the full-width ones when `fullWidth`. The first exact match wins.
  static std::vector<Recognition> recognitionTable(bool fullWidth);

  // The endings that a note-link trigger looks for.
  static const std::vector<std::string>& noteLinkInputs();
};

}  // namespace zephyl::editor
