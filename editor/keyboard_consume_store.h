// Holds the current KeyboardConsumeSnapshot between the main thread, which
// writes it, and the tap thread, which reads it inside the event tap's time
// budget: readers copy the whole snapshot under the lock and decide outside it.
#pragma once

#include <functional>
#include <mutex>

#include "editor/keyboard_consume_snapshot.h"

namespace zephyl::editor {

class KeyboardConsumeStore {
 public:
  // A copy of the current snapshot. Any thread.
  KeyboardConsumeSnapshot snapshot() const {
    std::lock_guard lock(mutex_);
    return snapshot_;
  }

  // Replaces the snapshot. Any thread (the controller calls it on the main thread).
  void replace(const KeyboardConsumeSnapshot& snapshot) {
    std::lock_guard lock(mutex_);
    snapshot_ = snapshot;
  }

  // Changes some fields in one step, so two writers never lose each other's change.
  // `change` runs under the lock and must not call back into the store.
  void update(const std::function<void(KeyboardConsumeSnapshot&)>& change) {
    std::lock_guard lock(mutex_);
    change(snapshot_);
  }

 private:
  mutable std::mutex mutex_;
  KeyboardConsumeSnapshot snapshot_;  // guarded by mutex_
};

}  // namespace zephyl::editor
