#include "platform/linux/configured_path_grant.h"

#include <gtest/gtest.h>

#include <map>

#include "core/json_settings_store.h"
#include "core/settings_error.h"
#include "platform/testing/in_memory_file_system.h"

namespace zephyl::platform {
namespace {

TEST(ConfiguredNotesDatabasePath, OptionThenEnvironmentThenSettingThenDefault) {
  testing::InMemoryFileSystem files;
  files.addFile("/c/settings.json", R"({"notesDatabasePath": "~/from-setting"})");
  core::JsonSettingsStore settings(files, "/c/settings.json");
  std::map<std::string, std::string> variables = {{"HOME", "/home/u"}, {"ZEPHYL_NOTES_DB", "/from-env"}};
  const core::EnvironmentLookup environment = [&](const std::string& name) -> std::optional<std::string> {
    auto it = variables.find(name);
    return it == variables.end() ? std::nullopt : std::optional<std::string>(it->second);
  };

  // The chosen path and where it came from.
  const auto chosen = [&](std::optional<std::string> option) {
    const auto path = configuredNotesDatabasePath(option, environment, &settings);
    return std::pair(path.path, path.source);
  };
  using Source = NotesDatabasePathSource;
  EXPECT_EQ(chosen("/from-option"), std::pair(std::optional<std::string>("/from-option"), Source::kOption));
  // An empty option means unset.
  EXPECT_EQ(chosen(""), std::pair(std::optional<std::string>("/from-env"), Source::kEnvironment));
  variables["ZEPHYL_NOTES_DB"] = "";
  EXPECT_EQ(chosen(std::nullopt),
            std::pair(std::optional<std::string>("/home/u/from-setting"), Source::kSetting));
  files.addFile("/c/settings.json", "{}");
  EXPECT_EQ(chosen(std::nullopt), std::pair(std::optional<std::string>(), Source::kDefault));

  // A broken settings file is reported, not taken for "no setting".
  files.addFile("/c/settings.json", "{");
  EXPECT_THROW(configuredNotesDatabasePath(std::nullopt, environment, &settings), core::SettingsError);
  EXPECT_EQ(configuredNotesDatabasePath(std::string("/x"), environment, &settings).path, "/x");

  // A value of another type is reported by key and expected type, not taken for "no setting";
  // null counts as unset.
  for (const char* value : {"123", "[\"/a\"]", "true", "{}"}) {
    SCOPED_TRACE(value);
    files.addFile("/c/settings.json", std::string(R"({"notesDatabasePath": )") + value + "}");
    try {
      configuredNotesDatabasePath(std::nullopt, environment, &settings);
      ADD_FAILURE() << "no error";
    } catch (const core::SettingsError& error) {
      EXPECT_EQ(error.code(), core::SettingsError::Code::kWrongType);
      EXPECT_NE(std::string(error.what()).find("notesDatabasePath"), std::string::npos) << error.what();
      EXPECT_NE(std::string(error.what()).find("must be a string"), std::string::npos) << error.what();
    }
  }
  files.addFile("/c/settings.json", R"({"notesDatabasePath": null})");
  EXPECT_EQ(configuredNotesDatabasePath(std::nullopt, environment, &settings).source,
            NotesDatabasePathSource::kDefault);
}

}  // namespace
}  // namespace zephyl::platform
