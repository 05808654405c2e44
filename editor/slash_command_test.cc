#include "editor/slash_command.h"

#include <gtest/gtest.h>

namespace zephyl::editor {
namespace {

TEST(SlashCommand, BuiltInsAreTheFourteenInPanelOrderWithTheirFormatCommands) {
  struct Row {
    std::string identifier;
    std::string title;
    SlashCommandKind kind;
    std::optional<NotesFormatCommand> format;
  };
  const std::vector<Row> expected = {
      {"ask-ai", "Ask AI", SlashCommandKind::kAskAI, std::nullopt},
      {"title", "Title", SlashCommandKind::kFormatTitle, NotesFormatCommand::kTitle},
      {"heading", "Heading", SlashCommandKind::kFormatHeading, NotesFormatCommand::kHeading},
      {"subheading", "Subheading", SlashCommandKind::kFormatSubheading, NotesFormatCommand::kSubheading},
      {"body", "Body", SlashCommandKind::kFormatBody, NotesFormatCommand::kBody},
      {"checklist", "Checklist", SlashCommandKind::kFormatChecklist, NotesFormatCommand::kChecklist},
      {"bulleted-list", "Bulleted List", SlashCommandKind::kFormatBulletedList,
       NotesFormatCommand::kBulletedList},
      {"numbered-list", "Numbered List", SlashCommandKind::kFormatNumberedList,
       NotesFormatCommand::kNumberedList},
      {"monostyled", "Code Block", SlashCommandKind::kFormatMonostyled, NotesFormatCommand::kMonostyled},
      {"quote", "Block Quote", SlashCommandKind::kFormatQuote, NotesFormatCommand::kQuote},
      {"table", "Table", SlashCommandKind::kInsertTable, NotesFormatCommand::kTable},
      {"date", "Date", SlashCommandKind::kInsertDate, std::nullopt},
      {"time", "Time", SlashCommandKind::kInsertTime, std::nullopt},
      {"date-time", "Date & Time", SlashCommandKind::kInsertDateTime, std::nullopt},
  };
  const auto& commands = builtInSlashCommands();
  ASSERT_EQ(commands.size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) {
    SCOPED_TRACE(expected[i].identifier);
    EXPECT_EQ(commands[i].identifier, expected[i].identifier);
    EXPECT_EQ(commands[i].titleKey, expected[i].title);
    EXPECT_EQ(commands[i].kind, expected[i].kind);
    EXPECT_EQ(notesFormatCommandForSlashKind(commands[i].kind), expected[i].format);
    EXPECT_FALSE(commands[i].systemImage.empty());
    EXPECT_FALSE(commands[i].aliases.empty());
    EXPECT_EQ(commands[i].assetName.empty(), expected[i].identifier == "date-time");
  }
  EXPECT_EQ(commands[8].systemImage, "chevron.left.forwardslash.chevron.right");
  EXPECT_EQ(commands[6].aliases.back(), "viñetas");
  EXPECT_EQ(notesFormatCommandForSlashKind(SlashCommandKind::kInsertTemplate), std::nullopt);
}

TEST(SlashCommand, TemplateRowCarriesItsTemplateAndDisplayTitle) {
  NoteTemplate untitled;
  untitled.title = "  ";
  untitled.displayTitle = NoteTemplate::displayTitleFor(untitled.title);
  untitled.noteID = "x-coredata://S/ICNote/p7";
  const SlashCommand row = slashCommandForTemplate(untitled);
  EXPECT_EQ(row.kind, SlashCommandKind::kInsertTemplate);
  EXPECT_EQ(row.identifier, "template:x-coredata://S/ICNote/p7");
  EXPECT_EQ(row.titleKey, "Untitled Template");
  EXPECT_EQ(row.templateTitle, "Untitled Template");
  ASSERT_TRUE(row.noteTemplate.has_value());
  EXPECT_EQ(row.noteTemplate->noteID, untitled.noteID);
  EXPECT_EQ(NoteTemplate::displayTitleFor(" Weekly \n"), "Weekly");
}

}  // namespace
}  // namespace zephyl::editor
