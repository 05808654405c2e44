// Records posted shortcuts; can refuse to create the events.
#pragma once

#include <mutex>
#include <vector>

#include "editor/shortcut_poster.h"

namespace zephyl::platform::testing {

class FakeShortcutPoster : public editor::ShortcutPoster {
 public:
  bool post(const editor::PostedShortcut& shortcut) override {
    std::lock_guard lock(mutex_);
    if (failing_) return false;
    posted_.push_back(shortcut);
    return true;
  }

  void setFailing(bool failing) {
    std::lock_guard lock(mutex_);
    failing_ = failing;
  }
  std::vector<editor::PostedShortcut> posted() {
    std::lock_guard lock(mutex_);
    return posted_;
  }

 private:
  std::mutex mutex_;
  bool failing_ = false;                        // guarded by mutex_
  std::vector<editor::PostedShortcut> posted_;  // guarded by mutex_
};

}  // namespace zephyl::platform::testing
