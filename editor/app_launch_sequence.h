// What happens when Zephyl launches, in this order: the software updater, the
// language choice written to the "AppleLanguages" default (read by the system at
// the next launch, so a change needs a restart), the appearance, the presence
// service, the keyboard monitor, and the backlinks index warmed in the background.
#pragma once

#include <functional>
#include <thread>

#include "core/settings_store.h"
#include "editor/app_controller.h"
#include "editor/appearance_applier.h"
#include "editor/keyboard_monitor.h"
#include "editor/software_updater.h"

namespace zephyl::editor {

struct AppLaunchServices {
  core::SettingsStore& settings;
  SoftwareUpdater& updater;
  AppearanceApplier& appearance;
  AppController& controller;
  KeyboardMonitor& keyboardMonitor;
  // Builds the backlinks index; blocking, so it runs on a thread of its own.
  std::function<void()> warmBacklinksIndex;
};

// Writes the language choice (`appLanguage`: "system" or a language code) to
// "AppleLanguages": one language, or the key removed to follow the system.
// Returns false when the settings could not be written (logged).
bool applyLanguageChoice(core::SettingsStore& settings);

class AppLaunchSequence {
 public:
  // The services must outlive the sequence.
  explicit AppLaunchSequence(AppLaunchServices services) : services_(std::move(services)) {}
  // Waits for the warm-up to finish.
  ~AppLaunchSequence() = default;

  // Runs the steps in order. Main thread.
  void launch();

 private:
  AppLaunchServices services_;
  std::jthread warmUp_;  // last: joins before the members above go
};

}  // namespace zephyl::editor
