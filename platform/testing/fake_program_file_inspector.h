// A program file whose identity the test changes to simulate a reinstall.
#pragma once

#include <mutex>

#include "editor/program_file_inspector.h"

namespace zephyl::platform::testing {

class FakeProgramFileInspector : public editor::ProgramFileInspector {
 public:
  explicit FakeProgramFileInspector(std::string path = "/Applications/Zephyl.app/Contents/MacOS/Zephyl")
      : path_(std::move(path)) {}

  std::string launchExecutablePath() override { return path_; }
  std::optional<editor::FileIdentity> fileIdentity(const std::string& path) override {
    std::lock_guard lock(mutex_);
    if (path != path_) return std::nullopt;
    return identity_;
  }

  // nullopt: stat fails.
  void setIdentity(std::optional<editor::FileIdentity> identity) {
    std::lock_guard lock(mutex_);
    identity_ = identity;
  }

 private:
  const std::string path_;
  std::mutex mutex_;
  std::optional<editor::FileIdentity> identity_ = editor::FileIdentity{1, 100};  // guarded by mutex_
};

}  // namespace zephyl::platform::testing
