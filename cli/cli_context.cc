#include "cli/cli_context.h"

#include "platform/linux/secret_service_credential_store.h"

namespace zephyl::cli {
CliContext::CliContext(const GlobalOptions& options, CliStreams streams, core::EnvironmentLookup environment)
    : options_(options), streams_(streams), environment_(std::move(environment)) {}

CliContext::~CliContext() = default;

const core::AppDirectories& CliContext::directories() {
  if (!directories_) {
    directories_ = core::resolveAppDirectories(environment_, options_.configDir, options_.dataDir);
  }
  return *directories_;
}

core::SettingsStore& CliContext::settings() {
  if (!settings_) {
    settings_ = std::make_unique<core::JsonSettingsStore>(fileSystem_, directories().settingsFile());
  }
  return *settings_;
}

notes_store::NotesDatabaseAccess& CliContext::notesDatabase() {
  if (!notesDatabase_) {
    const std::optional<std::string> option =
        options_.db.empty() ? std::nullopt : std::optional<std::string>(options_.db);
    configuredPath_ = platform::configuredNotesDatabasePath(option, environment_, &settings());
    grant_ = std::make_unique<platform::ConfiguredPathGrant>(configuredPath_->path);
    notesDatabase_ =
        std::make_unique<notes_store::NotesDatabaseAccess>(*grant_, fileSystem_, directories().homeDirectory);
    notesDatabase_->setWarningHandler(
        [this](std::string_view text) { streams_.err << "zephyl: warning: " << text << '\n'; });
  }
  return *notesDatabase_;
}

platform::LinuxCredentialStore& CliContext::storedCredentials() {
  if (!storedCredentials_) {
    // Without a session bus no Secret Service can answer; skip the wait.
    // ZEPHYL_CREDENTIAL_STORE=file chooses the file where a keyring exists too.
    std::unique_ptr<ai::AICredentialStore> keyring;
    if (environment_("DBUS_SESSION_BUS_ADDRESS") && environment_("ZEPHYL_CREDENTIAL_STORE") != "file") {
      keyring = std::make_unique<platform::SecretServiceCredentialStore>();
    }
    storedCredentials_ = std::make_unique<platform::LinuxCredentialStore>(
        std::move(keyring), directories().dataDirectory + "/credentials/credentials.json",
        [this](const std::string& text) { streams_.err << "zephyl: " << text << '\n'; });
  }
  return *storedCredentials_;
}

ai::EnvironmentCredentialStore& CliContext::credentials() {
  if (!credentials_)
    credentials_ = std::make_unique<ai::EnvironmentCredentialStore>(storedCredentials(), environment_);
  return *credentials_;
}

ai::AIUsageStore& CliContext::usageStore() {
  if (!usageStore_) {
    usageStore_ = std::make_unique<ai::AIUsageStore>(
        directories().dataDirectory + "/" + std::string(ai::AIUsageStore::kFileName), fileSystem_,
        fileLocker_, clock_, notifications_);
  }
  return *usageStore_;
}

std::string CliContext::missingDatabaseMessage() {
  auto& access = notesDatabase();
  std::string message = "No Apple Notes database found at " + access.resolveDatabasePath() + " (" +
                        platform::describeNotesDatabasePathSource(configuredPath_->source) + ").\n";
  message +=
      "Point Zephyl at a copy of NoteStore.sqlite (or the folder that holds it) with --db PATH, "
      "the environment variable ZEPHYL_NOTES_DB, or \"notesDatabasePath\" in " +
      directories().settingsFile() + ".\n" +
      "To try Zephyl without Apple Notes: zephyl sample-library /tmp/zephyl-sample && "
      "zephyl --db /tmp/zephyl-sample notes";
  return message;
}

}  // namespace zephyl::cli
