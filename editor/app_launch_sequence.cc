#include "editor/app_launch_sequence.h"

#include <chrono>

#include "core/enum_names.h"
#include "core/error.h"
#include "core/logger.h"

namespace zephyl::editor {
namespace {

constexpr core::Logger kLog("AppLaunch");

}  // namespace

std::optional<AppAppearance> appAppearanceFromName(std::string_view name) {
  static constexpr core::EnumNames<AppAppearance, 3> kNames({{{AppAppearance::kSystem, "system"},
                                                              {AppAppearance::kLight, "light"},
                                                              {AppAppearance::kDark, "dark"}}});
  return kNames.value(name);
}

bool applyLanguageChoice(core::SettingsStore& settings) {
  try {
    const auto language = settings.stringValue(std::string(settings_key::kAppLanguage));
    if (!language || language->empty() || *language == "system") {
      settings.remove(std::string(settings_key::kAppleLanguages));
    } else {
      settings.setStringList(std::string(settings_key::kAppleLanguages), {*language});
    }
    return true;
  } catch (const core::Error& error) {
    kLog.warning() << "Could not apply the language choice: " << error.description();
    return false;
  }
}

void AppLaunchSequence::launch() {
  if (!services_.updater.start()) kLog.info() << "Software updates are not checked";
  applyLanguageChoice(services_.settings);

  AppAppearance appearance = AppAppearance::kSystem;
  try {
    if (auto name = services_.settings.stringValue(std::string(settings_key::kAppearance))) {
      appearance = appAppearanceFromName(*name).value_or(AppAppearance::kSystem);
    }
  } catch (const core::Error& error) {
    kLog.warning() << "Could not read the appearance: " << error.description();
  }
  services_.appearance.apply(appearance);

  services_.controller.start();
  services_.keyboardMonitor.start();

  if (services_.warmBacklinksIndex) {
    warmUp_ = std::jthread([warm = services_.warmBacklinksIndex] {
      const auto started = std::chrono::steady_clock::now();
      try {
        warm();
      } catch (const std::exception& error) {
        kLog.warning() << "Backlinks warm-up failed: " << error.what();
        return;
      }
      const long elapsedMs = static_cast<long>(
          std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started)
              .count());
      kLog.info() << "Backlinks warm-up finished elapsedMs=" << elapsedMs;
    });
  }
}

}  // namespace zephyl::editor
