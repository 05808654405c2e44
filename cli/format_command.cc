#include <string>
#include <vector>

#include "cli/commands.h"
#include "editor/key_input_event.h"
#include "editor/notes_format_command.h"
#include "editor/notes_menu_click_script.h"

namespace zephyl::cli {
namespace {

std::string modifierNames(uint64_t flags) {
  std::string names;
  const std::pair<uint64_t, const char*> modifiers[] = {{editor::kShiftModifier, "Shift"},
                                                        {editor::kControlModifier, "Control"},
                                                        {editor::kOptionModifier, "Option"},
                                                        {editor::kCommandModifier, "Command"}};
  for (const auto& [bit, name] : modifiers) {
    if ((flags & bit) == 0) continue;
    if (!names.empty()) names += "+";
    names += name;
  }
  return names.empty() ? "none" : names;
}

std::string hex(uint64_t value) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string digits;
  do {
    digits.insert(digits.begin(), kDigits[value & 0xF]);
    value >>= 4;
  } while (value != 0);
  return "0x" + digits;
}

}  // namespace

void addFormatCommand(CLI::App& app, CliContext& context) {
  auto* command = app.add_subcommand(
      "format",
      "Print what applying a Notes formatting command sends to Apple Notes: Notes' shortcut for the six "
      "trigger "
      "commands, the System Events menu-click script for the others. On Linux nothing is sent.");
  std::vector<std::string> identifiers;
  for (auto formatCommand : editor::kAllNotesFormatCommands) {
    identifiers.emplace_back(editor::notesFormatCommandIdentifier(formatCommand));
  }
  auto name = std::make_shared<std::string>();
  auto script = std::make_shared<bool>(false);
  auto shortcut = std::make_shared<bool>(false);
  command->add_option("COMMAND", *name, "One of: title, heading, ... highlight")
      ->required()
      ->check(CLI::IsMember(identifiers));
  auto* scriptFlag = command->add_flag("--script", *script, "Print the menu-click script (any command)");
  command->add_flag("--shortcut", *shortcut, "Print the keyboard shortcut (key code and modifier flags)")
      ->excludes(scriptFlag);
  command->callback([&context, name, script, shortcut] {
    const auto formatCommand = *editor::notesFormatCommandFromIdentifier(*name);
    const auto posted = editor::notesShortcutForCommand(formatCommand);
    auto& out = context.streams().out;
    if (*shortcut || (!*script && posted)) {
      if (!posted) {
        throw CliFailure(*name + " has no keyboard shortcut; Zephyl clicks its menu item (see --script)");
      }
      out << "keyCode " << posted->keyCode << " modifierFlags " << hex(posted->modifierFlags) << " ("
          << modifierNames(posted->modifierFlags) << ")\n";
      return;
    }
    out << editor::NotesMenuClickScript::forCommand(formatCommand);
  });
}

}  // namespace zephyl::cli
