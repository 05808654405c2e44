// `zephyl skills list|show`: the skills of the root "Skills" folder.
#include <memory>

#include "cli/commands.h"
#include "cli/json_writer.h"
#include "cli/skill_library.h"

namespace zephyl::cli {

void addSkillsCommand(CLI::App& app, CliContext& context) {
  auto* skills =
      app.add_subcommand("skills", "The skills: notes of the \"Skills\" folder that `ask --skill` selects");
  skills->require_subcommand(1);

  auto* list = skills->add_subcommand("list", "List the skills by title and note id");
  auto json = std::make_shared<bool>(false);
  list->add_flag("--json", *json, "Print [{title, noteID}]");
  list->callback([&context, json] {
    const auto found = listSkills(context);
    auto& out = context.streams().out;
    if (*json) {
      JsonWriter writer(out);
      writer.beginArray();
      for (const auto& skill : found) {
        writer.beginObject();
        writer.key("title").value(skill.title);
        writer.key("noteID").value(skill.noteID);
        writer.endObject();
      }
      writer.endArray();
      out << '\n';
      return;
    }
    for (const auto& skill : found) out << skill.title << '\t' << skill.noteID << '\n';
  });

  auto* show = skills->add_subcommand("show", "Print a skill's instructions");
  auto name = std::make_shared<std::string>();
  show->add_option("NAME", *name, "The skill's title (any case) or note id")->required();
  show->callback([&context, name] {
    const auto skill = loadSkill(context, *name);
    context.streams().out << skill.instructions << '\n';
  });
}

}  // namespace zephyl::cli
