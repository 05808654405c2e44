// core::Clock on the system's wall clock.
#pragma once

#include "core/clock.h"

namespace zephyl::platform {

class SystemClock : public core::Clock {
 public:
  core::TimePoint now() override;
};

}  // namespace zephyl::platform
