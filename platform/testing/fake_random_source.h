// Randomness that returns the values a test scripted, the last one repeating.
#pragma once

#include <algorithm>
#include <mutex>
#include <vector>

#include "ai/random_source.h"

namespace zephyl::platform::testing {

class FakeRandomSource : public ai::RandomSource {
 public:
  explicit FakeRandomSource(std::vector<double> values = {0.5}) : values_(std::move(values)) {}
  double nextUnit() override {
    std::lock_guard lock(mutex_);
    const double value = values_[std::min(next_, values_.size() - 1)];
    ++next_;
    return value;
  }

 private:
  std::mutex mutex_;  // guards next_
  std::vector<double> values_;
  size_t next_ = 0;
};

}  // namespace zephyl::platform::testing
