// The software updater that checks for new releases of Zephyl in the background.
#pragma once

namespace zephyl::editor {

class SoftwareUpdater {
 public:
  virtual ~SoftwareUpdater() = default;

  // Starts the scheduled update checks. False when no updater exists here (logged).
  virtual bool start() = 0;
};

}  // namespace zephyl::editor
