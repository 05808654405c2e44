// One background thread that runs submitted work in order, one item at a time.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "core/mutex.h"

namespace zephyl::editor::internal {

class SerialExecutor {
 public:
  SerialExecutor() : thread_([this](std::stop_token stop) { run(stop); }) {}

  // Work already queued runs before the thread ends.
  ~SerialExecutor() {
    {
      core::MutexLock lock(mutex_);
      stopping_ = true;
    }
    ready_.notify_all();
  }

  SerialExecutor(const SerialExecutor&) = delete;
  SerialExecutor& operator=(const SerialExecutor&) = delete;

  // Queues `work`, which must not throw. Any thread. (Results travel back by
  // value rather than through std::future: an exception_ptr handed between
  // threads is invisible to ThreadSanitizer and reads as a race.)
  void post(std::function<void()> work) {
    {
      core::MutexLock lock(mutex_);
      queue_.push_back(std::move(work));
    }
    ready_.notify_one();
  }

 private:
  void run(std::stop_token) {
    for (;;) {
      std::function<void()> work;
      {
        core::MutexLock lock(mutex_);
        ready_.wait(lock, [this]() ZEPHYL_REQUIRES(mutex_) { return stopping_ || !queue_.empty(); });
        if (queue_.empty()) return;
        work = std::move(queue_.front());
        queue_.pop_front();
      }
      work();
    }
  }

  core::Mutex mutex_;
  std::condition_variable_any ready_;
  std::deque<std::function<void()>> queue_ ZEPHYL_GUARDED_BY(mutex_);
  bool stopping_ ZEPHYL_GUARDED_BY(mutex_) = false;
  std::jthread thread_;  // last: starts after the fields it reads exist
};

}  // namespace zephyl::editor::internal
