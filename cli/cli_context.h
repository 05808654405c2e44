// What every command shares: the global options, the wiring of the Linux
// platform objects, and the streams. Objects are made on first use, so a command
// that needs no database never touches settings or the database location.
#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "ai/ai_usage_store.h"
#include "ai/environment_credential_store.h"
#include "cli/cli_app.h"
#include "core/app_directories.h"
#include "core/json_settings_store.h"
#include "notes_store/notes_database_access.h"
#include "platform/linux/configured_path_grant.h"
#include "platform/linux/flock_file_locker.h"
#include "platform/linux/linux_credential_store.h"
#include "platform/linux/posix_file_system.h"
#include "platform/linux/system_clock.h"

namespace zephyl::cli {

// A failure whose text is shown as it is, with exit code 1.
class CliFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A usage error found after parsing (an unknown note, a bad value): exit code 2.
class CliUsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct GlobalOptions {
  std::string db;         // empty: not given
  std::string configDir;  // empty: default
  std::string dataDir;    // empty: default
};

class CliContext {
 public:
  // `options` must outlive the context; it is read when a command first needs it.
  CliContext(const GlobalOptions& options, CliStreams streams, core::EnvironmentLookup environment);
  ~CliContext();

  CliStreams& streams() { return streams_; }
  const core::EnvironmentLookup& environment() const { return environment_; }
  const core::AppDirectories& directories();
  core::FileSystem& fileSystem() { return fileSystem_; }
  core::SettingsStore& settings();
  notes_store::NotesDatabaseAccess& notesDatabase();
  // Secrets: environment variables first, then the platform credential store.
  ai::EnvironmentCredentialStore& credentials();
  // The stored secrets alone (Secret Service, else the private file), with where each one is.
  platform::LinuxCredentialStore& storedCredentials();
  // "ai-usage.json" in the data folder.
  ai::AIUsageStore& usageStore();
  core::Clock& clock() { return clock_; }
  core::FileLocker& fileLocker() { return fileLocker_; }

  // Runs `body` on an open database connection; throws CliFailure with a message
  // that says where Zephyl looked, and how to point it elsewhere, when there is none.
  template <typename Body>
  auto withRequiredDatabase(Body&& body) {
    auto result = notesDatabase().withDatabase(std::forward<Body>(body));
    if (!result) throw CliFailure(missingDatabaseMessage());
    return std::move(*result);
  }

  std::string missingDatabaseMessage();

 private:
  const GlobalOptions& options_;  // filled by the parser before any command runs
  CliStreams streams_;
  core::EnvironmentLookup environment_;
  platform::PosixFileSystem fileSystem_;
  std::optional<core::AppDirectories> directories_;
  std::unique_ptr<core::JsonSettingsStore> settings_;
  std::optional<platform::ConfiguredNotesDatabasePath> configuredPath_;
  std::unique_ptr<platform::ConfiguredPathGrant> grant_;
  std::unique_ptr<notes_store::NotesDatabaseAccess> notesDatabase_;
  std::unique_ptr<platform::LinuxCredentialStore> storedCredentials_;
  std::unique_ptr<ai::EnvironmentCredentialStore> credentials_;
  platform::FlockFileLocker fileLocker_;
  platform::SystemClock clock_;
  core::NotificationCenter notifications_;
  std::unique_ptr<ai::AIUsageStore> usageStore_;
};

}  // namespace zephyl::cli
