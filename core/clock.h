// Wall-clock time behind an interface, so that time-dependent logic is tested
// with a fake instead of sleeping.
#pragma once

#include "core/apple_time.h"

namespace zephyl::core {

class Clock {
 public:
  virtual ~Clock() = default;
  virtual TimePoint now() = 0;
};

}  // namespace zephyl::core
