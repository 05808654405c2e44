#include "cli/skill_library.h"

#include <strings.h>

#include "cli/note_reference.h"
#include "core/utf8.h"
#include "notes_store/notes_database_access.h"

namespace zephyl::cli {
namespace {

// The Markdown after the note's first line (its title).
std::string instructionsOf(const std::string& markdown) {
  const size_t lineEnd = markdown.find('\n');
  if (lineEnd == std::string::npos) return {};
  return std::string(core::trimWhiteSpace(std::string_view(markdown).substr(lineEnd + 1)));
}

}  // namespace

std::vector<SkillNote> listSkills(CliContext& context) {
  return context.withRequiredDatabase([](notes_store::NotesDatabaseConnection& connection) {
    std::vector<SkillNote> skills;
    for (const auto& row : notes_store::NotesDatabaseAccess::fetchFolderNotesWithoutBodies(
             connection, notes_store::NamedFolderSet::kSkills)) {
      if (!row.noteID.empty()) skills.push_back({row.title, row.noteID});
    }
    return skills;
  });
}

assistant::ChatTurnInput::SelectedSkill loadSkill(CliContext& context, const std::string& name) {
  const std::vector<SkillNote> skills = listSkills(context);
  const SkillNote* found = nullptr;
  for (const auto& skill : skills) {
    if (skill.noteID == name || strcasecmp(skill.title.c_str(), name.c_str()) == 0) {
      found = &skill;
      break;
    }
  }
  if (found == nullptr) throw CliUsageError("no skill named \"" + name + "\" (see `zephyl skills list`)");
  const notes_store::RenderedNote note =
      context.withRequiredDatabase([&](notes_store::NotesDatabaseConnection& connection) {
        return renderReferencedNote(connection, found->noteID);
      });
  if (note.locked)
    throw CliFailure("The skill \"" + found->title + "\" is a locked note and cannot be read.");
  return {found->title, instructionsOf(note.markdown)};
}

}  // namespace zephyl::cli
