#include "editor/slash_command.h"

#include <gtest/gtest.h>

namespace zephyl::editor {
namespace {

// The panel's order and what each row formats with; titles and images are data.
TEST(SlashCommand, BuiltInsAreTheFourteenInPanelOrderWithTheirFormatCommands) {
  using C = NotesFormatCommand;
  const std::vector<std::pair<std::string, std::optional<C>>> expected = {
      {"ask-ai", std::nullopt},
      {"title", C::kTitle},
      {"heading", C::kHeading},
      {"subheading", C::kSubheading},
      {"body", C::kBody},
      {"checklist", C::kChecklist},
      {"bulleted-list", C::kBulletedList},
      {"numbered-list", C::kNumberedList},
      {"monostyled", C::kMonostyled},
      {"quote", C::kQuote},
      {"table", C::kTable},
      {"date", std::nullopt},
      {"time", std::nullopt},
      {"date-time", std::nullopt},
  };
  const auto& commands = builtInSlashCommands();
  ASSERT_EQ(commands.size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) {
    SCOPED_TRACE(expected[i].first);
    EXPECT_EQ(commands[i].identifier, expected[i].first);
    EXPECT_EQ(notesFormatCommandForSlashKind(commands[i].kind), expected[i].second);
    EXPECT_FALSE(commands[i].aliases.empty());
  }
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
