#include "editor/app_settings.h"

#include <utility>

#include "core/enum_names.h"
#include "core/error.h"
#include "core/logger.h"

namespace zephyl::editor {
namespace {

constexpr core::Logger kLog("AppSettings");

constexpr core::EnumNames<MenuBarIconClickAction, 3> kClickActionNames({{
    {MenuBarIconClickAction::kShowMenu, "showMenu"},
    {MenuBarIconClickAction::kOpenQuickOpen, "openQuickOpen"},
    {MenuBarIconClickAction::kOpenAssistant, "openAssistant"},
}});

void readShortcut(core::SettingsStore& settings, std::string_view key,
                  std::optional<QuickOpenKeyboardShortcut>& target) {
  const auto value = settings.jsonValue(std::string(key));
  if (!value) return;
  if (value->isNull()) {  // switched off by the user
    target.reset();
    return;
  }
  if (auto shortcut = shortcutFromJSON(*value)) target = std::move(shortcut);
}

void readBool(core::SettingsStore& settings, std::string_view key, bool& target) {
  if (const auto value = settings.boolValue(std::string(key))) target = *value;
}

}  // namespace

std::string_view menuBarIconClickActionName(MenuBarIconClickAction action) {
  return kClickActionNames.name(action);
}

std::optional<MenuBarIconClickAction> menuBarIconClickActionFromName(std::string_view name) {
  return kClickActionNames.value(name);
}

core::JSONValue shortcutToJSON(const QuickOpenKeyboardShortcut& shortcut) {
  return core::JSONValue::Object{{"keyCode", shortcut.keyCode},
                                 {"modifierFlags", shortcut.modifierFlags},
                                 {"keyLabel", shortcut.keyLabel}};
}

std::optional<QuickOpenKeyboardShortcut> shortcutFromJSON(const core::JSONValue& value) {
  const auto* keyCode = value.find("keyCode");
  const auto* flags = value.find("modifierFlags");
  if (keyCode == nullptr || flags == nullptr) return std::nullopt;
  const auto code = keyCode->integer();
  const auto modifierFlags = flags->unsignedInteger();
  if (!code || *code < 0 || *code > 0xFFFF || !modifierFlags) return std::nullopt;
  QuickOpenKeyboardShortcut shortcut{static_cast<uint16_t>(*code), *modifierFlags, {}};
  if (const auto* label = value.find("keyLabel"); label != nullptr && label->string() != nullptr) {
    shortcut.keyLabel = *label->string();
  }
  return shortcut;
}

AppSettings AppSettings::read(core::SettingsStore& settings) {
  AppSettings result;
  try {
    readShortcut(settings, settings_key::kCommandPaletteShortcut, result.commandPaletteShortcut);
    readShortcut(settings, settings_key::kQuickOpenShortcut, result.quickOpenShortcut);
    readShortcut(settings, settings_key::kGlobalQuickOpenShortcut, result.globalQuickOpenShortcut);
    readShortcut(settings, settings_key::kAssistantShortcut, result.assistantShortcut);
    readShortcut(settings, settings_key::kGlobalSkillsLauncherShortcut, result.globalSkillsLauncherShortcut);
    readBool(settings, settings_key::kMarkdownTriggersEnabled, result.markdownTriggersEnabled);
    readBool(settings, settings_key::kFullWidthMarkdownTriggersEnabled,
             result.fullWidthMarkdownTriggersEnabled);
    readBool(settings, settings_key::kSlashCommandsEnabled, result.slashCommandsEnabled);
    readBool(settings, settings_key::kInlineToolbarEnabled, result.inlineToolbarEnabled);
    readBool(settings, settings_key::kQuickOpenPreviewEnabled, result.quickOpenPreviewEnabled);
    if (auto ids = settings.stringListValue(std::string(settings_key::kDisabledInlineToolbarActionIDs))) {
      result.disabledInlineToolbarActionIDs = std::move(*ids);
    }
    if (auto name = settings.stringValue(std::string(settings_key::kMenuBarIconClickAction))) {
      if (auto action = menuBarIconClickActionFromName(*name)) result.menuBarIconClickAction = *action;
    }
  } catch (const core::Error& error) {
    kLog.warning() << "Could not read settings: " << error.description();
    return AppSettings{};
  }
  result.formats = TemplateFormatSettings::read(settings);
  return result;
}

}  // namespace zephyl::editor
