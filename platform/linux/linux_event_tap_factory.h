// Linux has no session-wide keyboard event tap that could see the keys typed
// into another application: creation always fails, and says so once in the log.
#pragma once

#include <atomic>

#include "editor/event_tap.h"

namespace zephyl::platform {

class LinuxEventTapFactory : public editor::EventTapFactory {
 public:
  // Always null; the first call logs why.
  std::unique_ptr<editor::EventTap> createTap(editor::TapLocation location,
                                              editor::TapCallback callback) override;

 private:
  std::atomic<bool> reported_{false};
};

}  // namespace zephyl::platform
