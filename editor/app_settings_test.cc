#include "editor/app_settings.h"

#include <gtest/gtest.h>

#include "core/in_memory_settings_store.h"
#include "core/json_settings_store.h"
#include "platform/testing/in_memory_file_system.h"

namespace zephyl::editor {
namespace {

using core::JSONValue;

TEST(AppSettingsTest, MissingAndMalformedValuesKeepTheirDefaults) {
  core::InMemorySettingsStore store;
  const AppSettings defaults = AppSettings::read(store);
  EXPECT_TRUE(defaults.markdownTriggersEnabled);
  EXPECT_FALSE(defaults.fullWidthMarkdownTriggersEnabled);
  EXPECT_TRUE(defaults.slashCommandsEnabled);
  EXPECT_EQ(defaults.menuBarIconClickAction, MenuBarIconClickAction::kShowMenu);
  // Every default shortcut is distinct, so no key does two things.
  const std::vector<std::optional<QuickOpenKeyboardShortcut>> shortcuts = {
      defaults.commandPaletteShortcut, defaults.quickOpenShortcut, defaults.globalQuickOpenShortcut,
      defaults.assistantShortcut, defaults.globalSkillsLauncherShortcut};
  for (size_t i = 0; i < shortcuts.size(); ++i) {
    ASSERT_TRUE(shortcuts[i]);
    EXPECT_TRUE(hasCommandModifier(shortcuts[i]->modifierFlags)) << i;
    for (size_t j = i + 1; j < shortcuts.size(); ++j)
      EXPECT_FALSE(*shortcuts[i] == *shortcuts[j]) << i << "," << j;
  }

  store.setString("markdownTriggersEnabled", "yes");
  store.setString("menuBarIconClickAction", "openSomething");
  store.setJSONValue("quickOpenShortcut", JSONValue::Object{{"keyCode", 70000}, {"modifierFlags", 0}});
  store.setJSONValue("assistantShortcut", "Cmd+J");
  const AppSettings read = AppSettings::read(store);
  EXPECT_TRUE(read.markdownTriggersEnabled);
  EXPECT_EQ(read.menuBarIconClickAction, MenuBarIconClickAction::kShowMenu);
  EXPECT_EQ(read.quickOpenShortcut, defaults.quickOpenShortcut);
  EXPECT_EQ(read.assistantShortcut, defaults.assistantShortcut);
}

TEST(AppSettingsTest, StoredValuesAndSwitchedOffShortcutsAreRead) {
  core::InMemorySettingsStore store;
  store.setBool("slashCommandsEnabled", false);
  store.setBool("fullWidthMarkdownTriggersEnabled", true);
  store.setString("menuBarIconClickAction", "openAssistant");
  store.setStringList("disabledInlineToolbarActionIDs", {"bold", "askAI"});
  store.setString("slashCommandDateFormat", "isoDate");
  const QuickOpenKeyboardShortcut custom{49, 0x40000, "Space"};
  store.setJSONValue("globalQuickOpenShortcut", shortcutToJSON(custom));
  store.setJSONValue("globalSkillsLauncherShortcut", nullptr);

  const AppSettings read = AppSettings::read(store);
  EXPECT_FALSE(read.slashCommandsEnabled);
  EXPECT_TRUE(read.fullWidthMarkdownTriggersEnabled);
  EXPECT_EQ(read.menuBarIconClickAction, MenuBarIconClickAction::kOpenAssistant);
  EXPECT_EQ(read.disabledInlineToolbarActionIDs, (std::vector<std::string>{"bold", "askAI"}));
  EXPECT_EQ(read.formats.slashCommandDateFormat, TemplateDateFormat::kIsoDate);
  EXPECT_EQ(read.globalQuickOpenShortcut, custom);
  EXPECT_EQ(read.globalQuickOpenShortcut.value_or(QuickOpenKeyboardShortcut{}).keyLabel, "Space");
  EXPECT_EQ(read.globalSkillsLauncherShortcut, std::nullopt);
}

TEST(AppSettingsTest, ShortcutsSurviveTheSettingsFile) {
  platform::testing::InMemoryFileSystem files;
  core::JsonSettingsStore store(files, "/config/settings.json");
  store.setJSONValue("commandPaletteShortcut", shortcutToJSON({35, 0x120000, "P"}));
  core::JsonSettingsStore reread(files, "/config/settings.json");
  EXPECT_EQ(AppSettings::read(reread).commandPaletteShortcut, (QuickOpenKeyboardShortcut{35, 0x120000, "P"}));

  files.writeFileAtomically("/config/settings.json", "{ not json");
  const AppSettings fallback = AppSettings::read(reread);  // unreadable: every default, no throw
  EXPECT_TRUE(fallback.slashCommandsEnabled);
  EXPECT_EQ(fallback.commandPaletteShortcut, AppSettings{}.commandPaletteShortcut);
}

}  // namespace
}  // namespace zephyl::editor
