// A main queue that holds posted work until the test drains it on its own thread.
#pragma once

#include <functional>
#include <mutex>
#include <vector>

#include "editor/main_queue.h"

namespace zephyl::platform::testing {

class FakeMainQueue : public editor::MainQueue {
 public:
  void post(std::function<void()> work) override {
    std::lock_guard lock(mutex_);
    pending_.push_back(std::move(work));
  }

  // Runs what was posted, in order, including work posted while draining.
  // Returns how many items ran.
  size_t drain() {
    size_t count = 0;
    for (;;) {
      std::vector<std::function<void()>> batch;
      {
        std::lock_guard lock(mutex_);
        batch.swap(pending_);
      }
      if (batch.empty()) return count;
      for (auto& work : batch) work();
      count += batch.size();
    }
  }

 private:
  std::mutex mutex_;
  std::vector<std::function<void()>> pending_;  // guarded by mutex_
};

}  // namespace zephyl::platform::testing
