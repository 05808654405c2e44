// Where the controller's one-line status messages appear: the status item's
// line in the menu bar application, standard output in a replay.
#pragma once

#include <string_view>

namespace zephyl::editor {

class StatusDisplay {
 public:
  virtual ~StatusDisplay() = default;

  // Shows `message`, replacing the previous one. Main thread.
  virtual void showStatus(std::string_view message) = 0;
};

}  // namespace zephyl::editor
