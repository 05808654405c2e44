// The desktop services that Linux builds of Zephyl do without: the software
// updater (updates come from the package that installed Zephyl) and window
// appearance (the command line has no windows). Each says so once in the log.
#pragma once

#include "core/logger.h"
#include "editor/appearance_applier.h"
#include "editor/software_updater.h"

namespace zephyl::platform {

class LinuxSoftwareUpdater : public editor::SoftwareUpdater {
 public:
  bool start() override {
    log_.info() << "The software updater is unavailable on Linux; update Zephyl through its package";
    return false;
  }

 private:
  const core::Logger log_{"AppLaunch"};
};

class LinuxAppearanceApplier : public editor::AppearanceApplier {
 public:
  bool apply(editor::AppAppearance) override {
    log_.info() << "Appearance settings are unavailable on Linux: there are no windows to apply them to";
    return false;
  }

 private:
  const core::Logger log_{"AppLaunch"};
};

}  // namespace zephyl::platform
