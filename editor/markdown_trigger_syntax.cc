#include "editor/markdown_trigger_syntax.h"

namespace zephyl::editor {
namespace {

using Row = MarkdownTriggerSyntax::Row;
using Recognition = MarkdownTriggerSyntax::Recognition;

const std::vector<Recognition>& asciiRecognitions() {
  static const std::vector<Recognition> entries = {
      {"# ", TriggerKind::title, "#", 2},
      {"## ", TriggerKind::heading, "##", 3},
      {"### ", TriggerKind::subheading, "###", 4},
      {"[] ", TriggerKind::checklist, "[]", 3},
      {"[ ] ", TriggerKind::checklist, "[ ]", 4},
      {"``` ", TriggerKind::monostyled, "```", 4},
      {"> ", TriggerKind::quote, ">", 2},
      // Never equal to a buffer, which is only evaluated after a blank: the
      // controller starts slash queries itself. Kept so the table stays complete.
      {"/", TriggerKind::slashCommand, "/", 0},
  };
  return entries;
}

const std::vector<Recognition>& fullWidthRecognitions() {
  static const std::vector<Recognition> entries = {
      {"【】 ", TriggerKind::checklist, "【】", 3},
      {"【 】 ", TriggerKind::checklist, "【 】", 4},
      // The ASCII text on purpose: Notes and the settings pane show code blocks as back-quotes.
      {"··· ", TriggerKind::monostyled, "```", 4},
  };
  return entries;
}

}  // namespace

std::string_view triggerKindIdentifier(TriggerKind kind) {
  switch (kind) {
    case TriggerKind::slashCommand: return "slashCommand";
    case TriggerKind::noteLink: return "noteLink";
    case TriggerKind::title: return "title";
    case TriggerKind::heading: return "heading";
    case TriggerKind::subheading: return "subheading";
    case TriggerKind::checklist: return "checklist";
    case TriggerKind::monostyled: return "monostyled";
    case TriggerKind::quote: return "quote";
  }
  return "";
}

std::optional<NotesFormatCommand> formatCommandForTrigger(TriggerKind kind) {
  switch (kind) {
    case TriggerKind::slashCommand:
    case TriggerKind::noteLink:
      return std::nullopt;
    case TriggerKind::title: return NotesFormatCommand::title;
    case TriggerKind::heading: return NotesFormatCommand::heading;
    case TriggerKind::subheading: return NotesFormatCommand::subheading;
    case TriggerKind::checklist: return NotesFormatCommand::checklist;
    case TriggerKind::monostyled: return NotesFormatCommand::monostyled;
    case TriggerKind::quote: return NotesFormatCommand::quote;
  }
  return std::nullopt;
}

const std::vector<Row>& MarkdownTriggerSyntax::rows() {
  static const std::vector<Row> table = {
      {{"title", "Title", {"# "}}, false, NotesFormatCommand::title},
      {{"heading", "Heading", {"## "}}, false, NotesFormatCommand::heading},
      {{"subheading", "Subheading", {"### "}}, false, NotesFormatCommand::subheading},
      {{"checklist", "Checklist", {"[] ", "[ ] "}}, false, NotesFormatCommand::checklist},
      {{"monostyled", "Code Block", {"``` "}}, false, NotesFormatCommand::monostyled},
      {{"quote", "Block Quote", {"> "}}, false, NotesFormatCommand::quote},
      {{"noteLink", "Note Link", noteLinkInputs()}, true, std::nullopt},
      {{"cjkChecklist", "Checklist", {"【】 ", "【 】 "}}, true, NotesFormatCommand::checklist},
      {{"cjkMonostyled", "Code Block", {"··· "}}, true, NotesFormatCommand::monostyled},
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
