// Where Zephyl keeps its own files on Linux: the config folder (settings.json,
// standing in for the user defaults) and the data folder (the application
// support folder: chat sessions, usage, caches, agent installs).
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace zephyl::core {

// Looks up one environment variable; nullopt when unset.
using EnvironmentLookup = std::function<std::optional<std::string>(const std::string& name)>;

EnvironmentLookup processEnvironment();

struct AppDirectories {
  std::string configDirectory;
  std::string dataDirectory;
  std::string homeDirectory;

  std::string settingsFile() const { return configDirectory + "/settings.json"; }
};

// The folders for explicit overrides (empty: not given), else $XDG_CONFIG_HOME/zephyl
// and $XDG_DATA_HOME/zephyl, else ~/.config/zephyl and ~/.local/share/zephyl.
// XDG values that are not absolute paths are ignored, as the XDG rules ask.
AppDirectories resolveAppDirectories(const EnvironmentLookup& environment,
                                     const std::string& configOverride = {},
                                     const std::string& dataOverride = {});

}  // namespace zephyl::core
