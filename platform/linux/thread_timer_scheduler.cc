#include "platform/linux/thread_timer_scheduler.h"

#include <condition_variable>
#include <thread>

#include "core/mutex.h"

namespace zephyl::platform {
namespace {

// Shared with the timer's thread, so that a timer destroyed from within its
// own tick can let the thread finish on its own.
struct TimerState {
  core::Mutex mutex;
  std::condition_variable_any wake;
  bool cancelled ZEPHYL_GUARDED_BY(mutex) = false;
};

class ThreadTimer : public editor::RepeatingTimer {
 public:
  ThreadTimer(std::chrono::milliseconds firstDeadline, std::chrono::milliseconds interval,
              std::function<void()> tick)
      : state_(std::make_shared<TimerState>()) {
    thread_ = std::thread([state = state_, firstDeadline, interval, tick = std::move(tick)] {
      auto deadline = std::chrono::steady_clock::now() + firstDeadline;
      for (;;) {
        {
          core::MutexLock lock(state->mutex);
          if (state->wake.wait_until(lock, deadline,
                                     [&]() ZEPHYL_REQUIRES(state->mutex) { return state->cancelled; }))
            return;
        }
        tick();
        deadline += interval;
      }
    });
  }

  ~ThreadTimer() override {
    cancel();
    if (thread_.get_id() == std::this_thread::get_id()) {
      thread_.detach();
    } else {
      thread_.join();
    }
  }

  void cancel() override {
    {
      core::MutexLock lock(state_->mutex);
      state_->cancelled = true;
    }
    state_->wake.notify_all();
  }

 private:
  std::shared_ptr<TimerState> state_;
  std::thread thread_;
};

}  // namespace

std::unique_ptr<editor::RepeatingTimer> ThreadTimerScheduler::scheduleRepeating(
    std::chrono::milliseconds firstDeadline, std::chrono::milliseconds interval, std::chrono::milliseconds,
    std::function<void()> tick) {
  return std::make_unique<ThreadTimer>(firstDeadline, interval, std::move(tick));
}

}  // namespace zephyl::platform
