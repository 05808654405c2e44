#include "platform/linux/system_clock.h"

#include <chrono>

namespace zephyl::platform {

core::TimePoint SystemClock::now() {
  return std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
}

}  // namespace zephyl::platform
