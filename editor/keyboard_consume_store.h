// Holds the current KeyboardConsumeSnapshot between the main thread, which
// writes it, and the tap thread, which reads it inside the event tap's time
// budget: readers copy the whole snapshot under the lock and decide outside it.
#pragma once

#include <functional>
#include <mutex>

#include "core/mutex.h"
#include "editor/keyboard_consume_snapshot.h"

namespace zephyl::editor {

class KeyboardConsumeStore {
 public:
  // A copy of the current snapshot. Any thread.
  KeyboardConsumeSnapshot snapshot() const {
    core::MutexLock lock(mutex_);
    return snapshot_;
  }

  // Replaces the snapshot. Any thread (the controller calls it on the main thread).
  void replace(const KeyboardConsumeSnapshot& snapshot) {
    core::MutexLock lock(mutex_);
    snapshot_ = snapshot;
  }

  // Changes some fields in one step, so two writers never lose each other's change.
  // `change` runs under the lock and must not call back into the store.
  void update(const std::function<void(KeyboardConsumeSnapshot&)>& change) {
    core::MutexLock lock(mutex_);
    change(snapshot_);
  }

 private:
  mutable core::Mutex mutex_;
  KeyboardConsumeSnapshot snapshot_ ZEPHYL_GUARDED_BY(mutex_);
};

}  // namespace zephyl::editor
