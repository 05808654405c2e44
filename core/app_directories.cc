#include "core/app_directories.h"

#include <cstdlib>

namespace zephyl::core {

EnvironmentLookup processEnvironment() {
  return [](const std::string& name) -> std::optional<std::string> {
    const char* value = std::getenv(name.c_str());
    if (value == nullptr) return std::nullopt;
    return std::string(value);
  };
}

namespace {

std::optional<std::string> absoluteValue(const EnvironmentLookup& environment, const std::string& name) {
  auto value = environment(name);
  if (!value || value->empty() || value->front() != '/') return std::nullopt;
  return value;
}

}  // namespace

AppDirectories resolveAppDirectories(const EnvironmentLookup& environment, const std::string& configOverride,
                                     const std::string& dataOverride) {
  AppDirectories directories;
  directories.homeDirectory = environment("HOME").value_or("/");
  if (!configOverride.empty()) {
    directories.configDirectory = configOverride;
  } else if (auto xdg = absoluteValue(environment, "XDG_CONFIG_HOME")) {
    directories.configDirectory = *xdg + "/zephyl";
  } else {
    directories.configDirectory = directories.homeDirectory + "/.config/zephyl";
  }
  if (!dataOverride.empty()) {
    directories.dataDirectory = dataOverride;
  } else if (auto xdg = absoluteValue(environment, "XDG_DATA_HOME")) {
    directories.dataDirectory = *xdg + "/zephyl";
  } else {
    directories.dataDirectory = directories.homeDirectory + "/.local/share/zephyl";
  }
  return directories;
}

}  // namespace zephyl::core
