// Custom ACP agents: any program that speaks the Agent Client Protocol, added
// by the user in the setting "customACPAgents" beside Antigravity, and run
// through the same server (without install or sign-in).
#pragma once

#include <map>
#include <string>
#include <vector>

#include "core/settings_store.h"

namespace zephyl::agents {

inline constexpr std::string_view kCustomACPAgentsKey = "customACPAgents";

struct CustomACPAgent {
  std::string name;
  std::string command;  // a path, or a name looked up in PATH
  std::vector<std::string> arguments;
  std::map<std::string, std::string> environment;  // set over the inherited one
};

// The agents of the setting: an array of {"name", "command", "args", "env"},
// or a string holding that JSON (as the user defaults keep it). Entries
// without a name or a command, or with values of other types, are skipped and
// logged. Throws core::SettingsError when the settings cannot be read.
std::vector<CustomACPAgent> customACPAgents(core::SettingsStore& settings);

}  // namespace zephyl::agents
