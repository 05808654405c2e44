// Linux cannot post synthetic keys to Apple Notes: posting always fails, and
// says so once in the log.
#pragma once

#include <atomic>

#include "editor/shortcut_poster.h"

namespace zephyl::platform {

class LinuxShortcutPoster : public editor::ShortcutPoster {
 public:
  // False; the first call logs why.
  bool post(const editor::PostedShortcut& shortcut) override;

 private:
  std::atomic<bool> reported_{false};
};

}  // namespace zephyl::platform
