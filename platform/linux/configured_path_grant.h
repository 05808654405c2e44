// On Linux there are no security-scoped bookmarks: a configured path stands in
// for the user's grant. It comes from, in this order, the --db option, the
// environment variable ZEPHYL_NOTES_DB, and the setting notesDatabasePath; with
// none of them, no grant is stored and the default location is used.
#pragma once

#include <optional>
#include <string>

#include "core/app_directories.h"
#include "core/settings_store.h"
#include "notes_store/notes_database_grant.h"

namespace zephyl::platform {

inline constexpr const char* kNotesDatabaseEnvironmentVariable = "ZEPHYL_NOTES_DB";
inline constexpr const char* kNotesDatabasePathSettingKey = "notesDatabasePath";

enum class NotesDatabasePathSource { kOption, kEnvironment, kSetting, kDefault };

// How a user would name the source in a message: "--db", "ZEPHYL_NOTES_DB", ...
std::string describeNotesDatabasePathSource(NotesDatabasePathSource source);

struct ConfiguredNotesDatabasePath {
  std::optional<std::string> path;  // nullopt for kDefault
  NotesDatabasePathSource source = NotesDatabasePathSource::kDefault;
};

// Picks the configured path by precedence; empty values count as unset and a
// leading "~/" is expanded with HOME. `settings` may be null; reading it may
// throw core::SettingsError, also when the setting holds something other than a string.
ConfiguredNotesDatabasePath configuredNotesDatabasePath(const std::optional<std::string>& option,
                                                        const core::EnvironmentLookup& environment,
                                                        core::SettingsStore* settings);

class ConfiguredPathGrant : public notes_store::NotesDatabaseGrant {
 public:
  explicit ConfiguredPathGrant(std::optional<std::string> path) : path_(std::move(path)) {}

  std::optional<std::string> resolveGrantedPath() override { return path_; }
  // Plain files need no access scope.
  bool startAccessing(const std::string&) override { return false; }
  void stopAccessing(const std::string&) override {}

 private:
  std::optional<std::string> path_;
};

}  // namespace zephyl::platform
