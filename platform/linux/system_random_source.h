// ai::RandomSource on a Mersenne Twister seeded from the system's entropy.
#pragma once

#include <mutex>
#include <random>

#include "ai/random_source.h"
#include "core/mutex.h"

namespace zephyl::platform {

class SystemRandomSource : public ai::RandomSource {
 public:
  SystemRandomSource() : engine_(std::random_device{}()) {}
  double nextUnit() override {
    core::MutexLock lock(mutex_);
    return std::uniform_real_distribution<double>(0.0, 1.0)(engine_);
  }

 private:
  core::Mutex mutex_;  // guards engine_
  std::mt19937_64 engine_;
};

}  // namespace zephyl::platform
