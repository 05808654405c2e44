#include "editor/slash_command_ranking.h"

#include <gtest/gtest.h>

namespace zephyl::editor {
namespace {

std::vector<std::string> identifiers(const std::vector<SlashCommand>& rows) {
  std::vector<std::string> ids;
  for (const auto& row : rows) ids.push_back(row.identifier);
  return ids;
}

TEST(SlashCommandRanking, PrefixBeforeInfixIgnoringCaseAndDiacriticsInStableOrder) {
  NoteTemplate meeting;
  meeting.title = meeting.displayTitle = "Meeting Notes";
  meeting.noteID = "m";
  NoteTemplate retro;
  retro.title = retro.displayTitle = "Résumé Review";
  retro.noteID = "r";
  std::vector<SlashCommand> rows = builtInSlashCommands();
  rows.push_back(slashCommandForTemplate(meeting));
  rows.push_back(slashCommandForTemplate(retro));

  struct Case {
    std::string query;
    std::vector<std::string> expected;
  };
  const std::vector<Case> cases = {
      {"TITLE", {"title"}},
      {"titre", {"title", "subheading", "heading"}},  // exact alias, "sous-titre", then "intertitre"
      {"h2", {"heading"}},
      {"list", {"bulleted-list", "numbered-list", "checklist"}},  // later words before the infix
      {"uberschrift", {"heading", "subheading"}},                 // "zwischenüberschrift" without its umlaut
      {"tache", {"checklist"}},                                   // "tâches"
      {"时间", {"time", "date-time"}},
      {"resume", {"template:r"}},
      {"meet", {"template:m"}},
      {"template", {"template:m", "template:r"}},
      {"  quote ", {"quote"}},
      // Within a kind of match, the row's own names before its aliases.
      {"ta", {"table", "checklist", "ask-ai", "heading", "bulleted-list", "quote", "date", "date-time"}},
      {"da",
       {"date", "date-time", "monostyled", "checklist", "numbered-list"}},  // "daima", "qingdan", "numerada"
      {"zzz", {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.query);
    EXPECT_EQ(identifiers(SlashCommandRanking::rank(rows, c.query)), c.expected);
  }
  EXPECT_EQ(SlashCommandRanking::rank(rows, "").size(), rows.size());
  EXPECT_EQ(identifiers(SlashCommandRanking::rank(rows, " ")), identifiers(rows));
}

}  // namespace
}  // namespace zephyl::editor
