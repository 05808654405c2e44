// A clock that stands still until a test moves it.
#pragma once

#include <atomic>

#include "core/clock.h"

namespace zephyl::platform::testing {

class FakeClock : public core::Clock {
 public:
  explicit FakeClock(core::TimePoint start = core::TimePoint{}) : now_(start) {}
  core::TimePoint now() override { return now_.load(); }
  void set(core::TimePoint time) { now_.store(time); }
  void advance(std::chrono::microseconds step) { now_.store(now_.load() + step); }

 private:
  std::atomic<core::TimePoint> now_;
};

}  // namespace zephyl::platform::testing
