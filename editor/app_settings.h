// The controller's settings, read through the settings store with defaults for
// whatever is missing or unreadable. Shortcuts are stored as
// {"keyCode": 35, "modifierFlags": 1179648, "keyLabel": "P"}; null switches a
// shortcut off.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/json_value.h"
#include "core/settings_store.h"
#include "editor/quick_open_keyboard_shortcut.h"
#include "editor/template_format_settings.h"

namespace zephyl::editor {

enum class MenuBarIconClickAction { kShowMenu, kOpenQuickOpen, kOpenAssistant };

// "showMenu", "openQuickOpen", "openAssistant".
std::string_view menuBarIconClickActionName(MenuBarIconClickAction action);
std::optional<MenuBarIconClickAction> menuBarIconClickActionFromName(std::string_view name);

namespace settings_key {
inline constexpr std::string_view kCommandPaletteShortcut = "commandPaletteShortcut";
inline constexpr std::string_view kQuickOpenShortcut = "quickOpenShortcut";
inline constexpr std::string_view kGlobalQuickOpenShortcut = "globalQuickOpenShortcut";
inline constexpr std::string_view kAssistantShortcut = "assistantShortcut";
inline constexpr std::string_view kGlobalSkillsLauncherShortcut = "globalSkillsLauncherShortcut";
inline constexpr std::string_view kMarkdownTriggersEnabled = "markdownTriggersEnabled";
inline constexpr std::string_view kFullWidthMarkdownTriggersEnabled = "fullWidthMarkdownTriggersEnabled";
inline constexpr std::string_view kSlashCommandsEnabled = "slashCommandsEnabled";
inline constexpr std::string_view kInlineToolbarEnabled = "inlineToolbarEnabled";
inline constexpr std::string_view kDisabledInlineToolbarActionIDs = "disabledInlineToolbarActionIDs";
inline constexpr std::string_view kQuickOpenPreviewEnabled = "quickOpenPreviewEnabled";
inline constexpr std::string_view kMenuBarIconClickAction = "menuBarIconClickAction";
inline constexpr std::string_view kNotesDatabaseAccessBookmark = "notesDatabaseAccessBookmark";
// The user's language choice ("system" or a language code) and the default
// that the system reads it from at the next launch.
inline constexpr std::string_view kAppLanguage = "appLanguage";
inline constexpr std::string_view kAppleLanguages = "AppleLanguages";
inline constexpr std::string_view kAppearance = "appearance";
}  // namespace settings_key

struct AppSettings {
  // ⇧⌘P, ⇧⌘O in Notes; ⌥⌘O, ⌥⌘J, ⌥⌘K anywhere: none of them is a Notes shortcut.
  std::optional<QuickOpenKeyboardShortcut> commandPaletteShortcut =
      QuickOpenKeyboardShortcut{35, 0x120000, "P"};
  std::optional<QuickOpenKeyboardShortcut> quickOpenShortcut = QuickOpenKeyboardShortcut{31, 0x120000, "O"};
  std::optional<QuickOpenKeyboardShortcut> globalQuickOpenShortcut =
      QuickOpenKeyboardShortcut{31, 0x180000, "O"};
  std::optional<QuickOpenKeyboardShortcut> assistantShortcut = QuickOpenKeyboardShortcut{38, 0x180000, "J"};
  std::optional<QuickOpenKeyboardShortcut> globalSkillsLauncherShortcut =
      QuickOpenKeyboardShortcut{40, 0x180000, "K"};
  bool markdownTriggersEnabled = true;
  bool fullWidthMarkdownTriggersEnabled = false;
  bool slashCommandsEnabled = true;
  bool inlineToolbarEnabled = true;
  std::vector<std::string> disabledInlineToolbarActionIDs;
  bool quickOpenPreviewEnabled = true;
  MenuBarIconClickAction menuBarIconClickAction = MenuBarIconClickAction::kShowMenu;
  TemplateFormatSettings formats;

  // The current settings. A missing or malformed value keeps its default;
  // settings that cannot be read at all give every default (logged).
  static AppSettings read(core::SettingsStore& settings);
};

// The stored form of a shortcut, and back. A value that is not an object with
// an integer key code (0–65535) and integer modifier flags reads as nullopt.
core::JSONValue shortcutToJSON(const QuickOpenKeyboardShortcut& shortcut);
std::optional<QuickOpenKeyboardShortcut> shortcutFromJSON(const core::JSONValue& value);

}  // namespace zephyl::editor
