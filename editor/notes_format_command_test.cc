#include "editor/notes_format_command.h"

#include <gtest/gtest.h>

#include "editor/markdown_trigger_syntax.h"
#include "editor/notes_format_menu_table.h"

namespace zephyl::editor {
namespace {

using C = NotesFormatCommand;

TEST(NotesFormatCommand, SeventeenCommandsInOrderWithRoundTrippingIdentifiers) {
  const std::vector<std::string> expected = {
      "title",   "heading",      "subheading", "body",         "checklist", "monostyled",
      "quote",   "table",        "bold",       "italic",       "underline", "strikethrough",
      "addLink", "bulletedList", "dashedList", "numberedList", "highlight"};
  ASSERT_EQ(kAllNotesFormatCommands.size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(notesFormatCommandIdentifier(kAllNotesFormatCommands[i]), expected[i]);
    EXPECT_EQ(notesFormatCommandFromIdentifier(expected[i]), kAllNotesFormatCommands[i]);
  }
  EXPECT_EQ(notesFormatCommandFromIdentifier("Title"), std::nullopt);
  EXPECT_EQ(notesFormatCommandFromIdentifier(""), std::nullopt);
}

TEST(NotesFormatCommand, OnlyTheSixTriggerCommandsHaveNotesShortcuts) {
  const std::vector<std::pair<C, PostedShortcut>> expected = {
      {C::kTitle, {17, 0x120000}},     {C::kHeading, {4, 0x120000}},     {C::kSubheading, {38, 0x120000}},
      {C::kChecklist, {37, 0x120000}}, {C::kMonostyled, {46, 0x120000}}, {C::kQuote, {39, 0x100000}},
  };
  size_t withShortcut = 0;
  for (C command : kAllNotesFormatCommands) {
    const auto shortcut = notesShortcutForCommand(command);
    if (!shortcut) continue;
    ++withShortcut;
    const auto it =
        std::find_if(expected.begin(), expected.end(), [&](const auto& e) { return e.first == command; });
    ASSERT_NE(it, expected.end()) << notesFormatCommandIdentifier(command);
    EXPECT_EQ(*shortcut, it->second) << notesFormatCommandIdentifier(command);
  }
  EXPECT_EQ(withShortcut, expected.size());
  // Every trigger kind with a command leads to one of these shortcuts.
  for (const auto& row : MarkdownTriggerSyntax::rows()) {
    if (row.command) {
      EXPECT_TRUE(notesShortcutForCommand(*row.command).has_value()) << row.definition.identifier;
    }
  }
}

TEST(NotesFormatMenuTable, RowsInListingOrderAndTheDerivedCheckMarkLists) {
  const std::vector<C> order = {
      C::kTitle,      C::kHeading,      C::kSubheading,    C::kBody,      C::kMonostyled, C::kBulletedList,
      C::kDashedList, C::kNumberedList, C::kChecklist,     C::kQuote,     C::kTable,      C::kBold,
      C::kItalic,     C::kUnderline,    C::kStrikethrough, C::kHighlight, C::kAddLink};
  const auto& rows = NotesFormatMenuTable::entries();
  ASSERT_EQ(rows.size(), order.size());
  for (size_t i = 0; i < order.size(); ++i) {
    EXPECT_EQ(rows[i].command, order[i]) << i;
    EXPECT_EQ(NotesFormatMenuTable::entry(order[i]).command, order[i]);
  }
  EXPECT_EQ(NotesFormatMenuTable::entry(C::kAddLink).menu, NotesFormatMenu::kEdit);
  EXPECT_FALSE(NotesFormatMenuTable::entry(C::kTable).readsCheckMark);
  EXPECT_EQ(NotesFormatMenuTable::formatMenuCheckMarkCommands(),
            (std::vector<C>{C::kTitle, C::kHeading, C::kSubheading, C::kBody, C::kMonostyled,
                            C::kBulletedList, C::kDashedList, C::kNumberedList, C::kChecklist, C::kQuote}));
  EXPECT_EQ(NotesFormatMenuTable::fontMenuCheckMarkCommands(),
            (std::vector<C>{C::kBold, C::kItalic, C::kUnderline, C::kStrikethrough, C::kHighlight}));
}

TEST(MarkdownTriggerSyntax, SettingsRowsAndRecognitionTable) {
  const auto& rows = MarkdownTriggerSyntax::rows();
  std::vector<std::string> identifiers;
  for (const auto& row : rows) identifiers.push_back(row.definition.identifier);
  EXPECT_EQ(identifiers,
            (std::vector<std::string>{"title", "heading", "subheading", "checklist", "monostyled", "quote",
                                      "noteLink", "cjkChecklist", "cjkMonostyled"}));
  EXPECT_EQ(rows[6].definition.inputs, (std::vector<std::string>{"》》", "》〉"}));
  EXPECT_FALSE(rows[6].command.has_value());
  EXPECT_TRUE(rows[7].fullWidth);

  EXPECT_EQ(MarkdownTriggerSyntax::recognitionTable(false).size(), 8u);
  const auto table = MarkdownTriggerSyntax::recognitionTable(true);
  ASSERT_EQ(table.size(), 11u);
  EXPECT_EQ(table[7].kind, TriggerKind::kSlashCommand);
  EXPECT_EQ(table[7].charactersToRemove, 0);

  EXPECT_EQ(formatCommandForTrigger(TriggerKind::kQuote), C::kQuote);
  EXPECT_EQ(formatCommandForTrigger(TriggerKind::kNoteLink), std::nullopt);
  EXPECT_EQ(triggerKindIdentifier(TriggerKind::kSlashCommand), "slashCommand");
}

}  // namespace
}  // namespace zephyl::editor
