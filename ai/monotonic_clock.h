// A monotonic (continuous) clock with a cancellable sleep, behind an interface
// so that retry waits and durations are tested with a fake instead of sleeping.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stop_token>

#include "core/error.h"

namespace zephyl::ai {

class MonotonicClock {
 public:
  using Duration = std::chrono::steady_clock::duration;
  using Instant = std::chrono::steady_clock::time_point;

  virtual ~MonotonicClock() = default;
  virtual Instant now() = 0;
  // Waits `duration`; throws core::CancellationError as soon as `stop` is requested.
  virtual void sleepFor(Duration duration, std::stop_token stop) = 0;
};

// The steady clock of the C++ library; safe from any thread.
class SteadyMonotonicClock : public MonotonicClock {
 public:
  Instant now() override { return std::chrono::steady_clock::now(); }
  void sleepFor(Duration duration, std::stop_token stop) override {
    std::mutex mutex;
    std::condition_variable_any wakeup;
    std::unique_lock lock(mutex);
    wakeup.wait_for(lock, stop, duration, [] { return false; });
    if (stop.stop_requested()) throw core::CancellationError();
  }
};

}  // namespace zephyl::ai
