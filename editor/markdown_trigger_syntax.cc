#include "editor/markdown_trigger_syntax.h"

namespace zephyl::editor {
namespace {

using Row = MarkdownTriggerSyntax::Row;
using Recognition = MarkdownTriggerSyntax::Recognition;

const std::vector<Recognition>& asciiRecognitions() {
  static const std::vector<Recognition> entries = {
      {"# ", TriggerKind::kTitle, "#", 2},
      {"## ", TriggerKind::kHeading, "##", 3},
      {"### ", TriggerKind::kSubheading, "###", 4},
      {"[] ", TriggerKind::kChecklist, "[]", 3},
      {"[ ] ", TriggerKind::kChecklist, "[ ]", 4},
      {"``` ", TriggerKind::kMonostyled, "```", 4},
      {"> ", TriggerKind::kQuote, ">", 2},
      // Never equal to a buffer, which is only evaluated after a blank: the
      // controller starts slash queries itself. Kept so the table stays complete.
      {"/", TriggerKind::kSlashCommand, "/", 0},
  };
  return entries;
}

const std::vector<Recognition>& fullWidthRecognitions() {
  static const std::vector<Recognition> entries = {
      {"【】 ", TriggerKind::kChecklist, "【】", 3},
      {"【 】 ", TriggerKind::kChecklist, "【 】", 4},
      // The ASCII text on purpose: Notes and the settings pane show code blocks as back-quotes.
      {"··· ", TriggerKind::kMonostyled, "```", 4},
  };
  return entries;
}

}  // namespace

std::string_view triggerKindIdentifier(TriggerKind kind) {
  switch (kind) {
    case TriggerKind::kSlashCommand:
      return "slashCommand";
    case TriggerKind::kNoteLink:
      return "noteLink";
    case TriggerKind::kTitle:
      return "title";
    case TriggerKind::kHeading:
      return "heading";
    case TriggerKind::kSubheading:
      return "subheading";
    case TriggerKind::kChecklist:
      return "checklist";
    case TriggerKind::kMonostyled:
      return "monostyled";
    case TriggerKind::kQuote:
      return "quote";
  }
  return "";
}

std::optional<NotesFormatCommand> formatCommandForTrigger(TriggerKind kind) {
  switch (kind) {
    case TriggerKind::kSlashCommand:
    case TriggerKind::kNoteLink:
      return std::nullopt;
    case TriggerKind::kTitle:
      return NotesFormatCommand::kTitle;
    case TriggerKind::kHeading:
      return NotesFormatCommand::kHeading;
    case TriggerKind::kSubheading:
      return NotesFormatCommand::kSubheading;
    case TriggerKind::kChecklist:
      return NotesFormatCommand::kChecklist;
    case TriggerKind::kMonostyled:
      return NotesFormatCommand::kMonostyled;
    case TriggerKind::kQuote:
      return NotesFormatCommand::kQuote;
  }
  return std::nullopt;
}

const std::vector<Row>& MarkdownTriggerSyntax::rows() {
  static const std::vector<Row> table = {
      {{"title", "Title", {"# "}}, false, NotesFormatCommand::kTitle},
      {{"heading", "Heading", {"## "}}, false, NotesFormatCommand::kHeading},
      {{"subheading", "Subheading", {"### "}}, false, NotesFormatCommand::kSubheading},
      {{"checklist", "Checklist", {"[] ", "[ ] "}}, false, NotesFormatCommand::kChecklist},
      {{"monostyled", "Code Block", {"``` "}}, false, NotesFormatCommand::kMonostyled},
      {{"quote", "Block Quote", {"> "}}, false, NotesFormatCommand::kQuote},
      {{"noteLink", "Note Link", noteLinkInputs()}, true, std::nullopt},
      {{"cjkChecklist", "Checklist", {"【】 ", "【 】 "}}, true, NotesFormatCommand::kChecklist},
      {{"cjkMonostyled", "Code Block", {"··· "}}, true, NotesFormatCommand::kMonostyled},
  };
  return table;
}

std::vector<Recognition> MarkdownTriggerSyntax::recognitionTable(bool fullWidth) {
  std::vector<Recognition> table = asciiRecognitions();
  if (fullWidth) table.insert(table.end(), fullWidthRecognitions().begin(), fullWidthRecognitions().end());
  return table;
}

const std::vector<std::string>& MarkdownTriggerSyntax::noteLinkInputs() {
  static const std::vector<std::string> inputs = {"》》", "》〉"};
  return inputs;
}

}  // namespace zephyl::editor
