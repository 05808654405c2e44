#include "platform/linux/configured_path_grant.h"

namespace zephyl::platform {
namespace {

std::optional<std::string> nonEmpty(std::optional<std::string> value) {
  if (!value || value->empty()) return std::nullopt;
  return value;
}

std::string expandHome(const std::string& path, const core::EnvironmentLookup& environment) {
  if (path == "~" || path.rfind("~/", 0) == 0) {
    if (auto home = environment("HOME")) return *home + path.substr(1);
  }
  return path;
}

}  // namespace

std::string describeNotesDatabasePathSource(NotesDatabasePathSource source) {
  switch (source) {
    case NotesDatabasePathSource::kOption:
      return "--db";
    case NotesDatabasePathSource::kEnvironment:
      return kNotesDatabaseEnvironmentVariable;
    case NotesDatabasePathSource::kSetting:
      return std::string("the setting ") + kNotesDatabasePathSettingKey;
    case NotesDatabasePathSource::kDefault:
      return "the default location";
  }
  return {};
}

ConfiguredNotesDatabasePath configuredNotesDatabasePath(const std::optional<std::string>& option,
                                                        const core::EnvironmentLookup& environment,
                                                        core::SettingsStore* settings) {
  if (auto path = nonEmpty(option)) {
    return {expandHome(*path, environment), NotesDatabasePathSource::kOption};
  }
  if (auto path = nonEmpty(environment(kNotesDatabaseEnvironmentVariable))) {
    return {expandHome(*path, environment), NotesDatabasePathSource::kEnvironment};
  }
  if (settings != nullptr) {
    if (auto path = nonEmpty(settings->checkedStringValue(kNotesDatabasePathSettingKey))) {
      return {expandHome(*path, environment), NotesDatabasePathSource::kSetting};
    }
  }
  return {std::nullopt, NotesDatabasePathSource::kDefault};
}

}  // namespace zephyl::platform
