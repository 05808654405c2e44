// Records the scripts it is given; can fail as a script or the runner would.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "editor/script_error.h"
#include "editor/script_runner.h"

namespace zephyl::platform::testing {

class FakeScriptRunner : public editor::ScriptRunner {
 public:
  struct Run {
    std::string source;
    std::string taskLabel;
  };

  void run(const std::string& source, const std::string& taskLabel) override {
    std::lock_guard lock(mutex_);
    runs_.push_back({source, taskLabel});
    if (failure_) throw *failure_;
  }

  // Records the script like run() and returns the next queued result (empty
  // text when none is queued).
  std::string evaluate(const std::string& source, const std::string& taskLabel) override {
    run(source, taskLabel);
    std::lock_guard lock(mutex_);
    if (results_.empty()) return {};
    std::string result = std::move(results_.front());
    results_.erase(results_.begin());
    return result;
  }

  // The result of a later evaluate(), in queue order.
  void queueResult(std::string result) {
    std::lock_guard lock(mutex_);
    results_.push_back(std::move(result));
  }

  // Every later run throws `error`; nullopt makes runs succeed again.
  void setFailure(std::optional<editor::ScriptError> error) {
    std::lock_guard lock(mutex_);
    failure_ = std::move(error);
  }

  std::vector<Run> runs() {
    std::lock_guard lock(mutex_);
    return runs_;
  }

 private:
  std::mutex mutex_;
  std::vector<Run> runs_;                       // guarded by mutex_
  std::optional<editor::ScriptError> failure_;  // guarded by mutex_
  std::vector<std::string> results_;            // guarded by mutex_
};

}  // namespace zephyl::platform::testing
