// Skills: the notes of the root "Skills" folder. A note's title names the
// skill; its body (the note's Markdown after the title line) is the
// instructions that a turn which selects the skill follows.
#pragma once

#include <string>
#include <vector>

#include "assistant/chat_turn_input.h"
#include "cli/cli_context.h"

namespace zephyl::cli {

struct SkillNote {
  std::string title;
  std::string noteID;
};

// The skills, in the folder's order. Throws CliFailure without a library.
std::vector<SkillNote> listSkills(CliContext& context);

// The skill named `name` (its title, ignoring case, or its note id) with its
// instructions. Throws CliUsageError when there is none, CliFailure when its
// note is locked.
assistant::ChatTurnInput::SelectedSkill loadSkill(CliContext& context, const std::string& name);

}  // namespace zephyl::cli
