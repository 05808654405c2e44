// A monotonic clock that moves only when a test moves it or something sleeps
// on it; sleeps return at once and are recorded.
#pragma once

#include <mutex>
#include <vector>

#include "ai/monotonic_clock.h"

namespace zephyl::platform::testing {

class FakeMonotonicClock : public ai::MonotonicClock {
 public:
  Instant now() override {
    std::lock_guard lock(mutex_);
    return now_;
  }
  void sleepFor(Duration duration, std::stop_token stop) override {
    if (stop.stop_requested()) throw core::CancellationError();
    std::lock_guard lock(mutex_);
    sleeps_.push_back(duration);
    now_ += duration;
  }
  void advance(Duration step) {
    std::lock_guard lock(mutex_);
    now_ += step;
  }
  std::vector<Duration> sleeps() const {
    std::lock_guard lock(mutex_);
    return sleeps_;
  }

 private:
  mutable std::mutex mutex_;  // guards now_ and sleeps_
  Instant now_{};
  std::vector<Duration> sleeps_;
};

}  // namespace zephyl::platform::testing
