// Repeating timers, each on a thread of its own that sleeps until the next
// deadline. Leeway is not used: a thread wakes at the deadline itself.
#pragma once

#include "editor/timer_scheduler.h"

namespace zephyl::platform {

class ThreadTimerScheduler : public editor::TimerScheduler {
 public:
  std::unique_ptr<editor::RepeatingTimer> scheduleRepeating(std::chrono::milliseconds firstDeadline,
                                                            std::chrono::milliseconds interval,
                                                            std::chrono::milliseconds leeway,
                                                            std::function<void()> tick) override;
};

}  // namespace zephyl::platform
