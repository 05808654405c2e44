// Repeating timers behind an interface, so that the watchdog's one-second ticks
// are driven by hand in tests instead of by sleeping.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace zephyl::editor {

class RepeatingTimer {
 public:
  // Destroying a timer cancels it and waits for a tick that is running, unless
  // it is destroyed from within its own tick.
  virtual ~RepeatingTimer() = default;

  // No tick starts after this returns (a tick already running may finish).
  // Safe to call from within a tick.
  virtual void cancel() = 0;
};

class TimerScheduler {
 public:
  virtual ~TimerScheduler() = default;

  // Calls `tick` after `firstDeadline`, then every `interval`, each time within
  // `leeway`, on one background context of its own (ticks never overlap).
  virtual std::unique_ptr<RepeatingTimer> scheduleRepeating(std::chrono::milliseconds firstDeadline,
                                                            std::chrono::milliseconds interval,
                                                            std::chrono::milliseconds leeway,
                                                            std::function<void()> tick) = 0;
};

}  // namespace zephyl::editor
