// Timers that tick only when the test says so, on the test's thread.
#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <vector>

#include "editor/timer_scheduler.h"

namespace zephyl::platform::testing {

class FakeTimerScheduler : public editor::TimerScheduler {
 public:
  struct Schedule {
    std::chrono::milliseconds firstDeadline;
    std::chrono::milliseconds interval;
    std::chrono::milliseconds leeway;
  };

  std::unique_ptr<editor::RepeatingTimer> scheduleRepeating(std::chrono::milliseconds firstDeadline,
                                                            std::chrono::milliseconds interval,
                                                            std::chrono::milliseconds leeway,
                                                            std::function<void()> tick) override;

  // Runs one tick of every timer that is neither cancelled nor destroyed.
  void fire();

  // Timers neither cancelled nor destroyed.
  size_t activeCount();
  std::vector<Schedule> schedules();

 private:
  struct TimerState {
    Schedule schedule;
    std::function<void()> tick;
    bool cancelled = false;  // guarded by the scheduler's mutex_
  };
  class Timer;

  std::mutex mutex_;
  std::vector<std::shared_ptr<TimerState>> timers_;  // guarded by mutex_
};

}  // namespace zephyl::platform::testing
