// A log sink that keeps every line, for tests that check what was logged.
// Test use only.
#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "core/logger.h"

namespace zephyl::platform::testing {

class CapturingLogSink : public core::LogSink {
 public:
  void write(core::LogLevel, std::string_view, std::string_view message) override {
    std::lock_guard lock(mutex_);
    lines_.emplace_back(message);
  }

  std::vector<std::string> lines() const {
    std::lock_guard lock(mutex_);
    return lines_;
  }

  // True when some line starts with `prefix`.
  bool has(std::string_view prefix) const {
    std::lock_guard lock(mutex_);
    return std::any_of(lines_.begin(), lines_.end(),
                       [&](const std::string& line) { return line.starts_with(prefix); });
  }

  // How many lines are exactly `line`.
  size_t count(std::string_view line) const {
    std::lock_guard lock(mutex_);
    return static_cast<size_t>(std::count(lines_.begin(), lines_.end(), line));
  }

 private:
  mutable std::mutex mutex_;  // guards lines_
  std::vector<std::string> lines_;
};

}  // namespace zephyl::platform::testing
