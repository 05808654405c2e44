// A core::FileSystem that passes everything to another one until a given
// number of writes has succeeded, then fails every write the way a full disk
// does. For tests of what an interrupted run leaves and how the next resumes.
#pragma once

#include <functional>
#include <string>

#include "core/file_system.h"
#include "core/file_system_error.h"
#include "core/mutex.h"

namespace zephyl::platform::testing {

class FaultInjectingFileSystem : public core::FileSystem {
 public:
  // Writes (file writes and removals) after the first `writesBeforeFailure` fail.
  FaultInjectingFileSystem(core::FileSystem& target, int writesBeforeFailure)
      : target_(target), writesLeft_(writesBeforeFailure) {}

  // Fails writes to the paths `fails` picks, whatever the count.
  void failPaths(std::function<bool(const std::string&)> fails) { failsPath_ = std::move(fails); }
  int failedWrites() const {
    core::MutexLock lock(mutex_);
    return failedWrites_;
  }

  bool fileExists(const std::string& path) override { return target_.fileExists(path); }
  bool isDirectory(const std::string& path) override { return target_.isDirectory(path); }
  std::optional<std::string> unsearchableFolderOnPath(const std::string& path) override {
    return target_.unsearchableFolderOnPath(path);
  }
  bool isSymbolicLink(const std::string& path) override { return target_.isSymbolicLink(path); }
  std::optional<std::string> readFile(const std::string& path) override { return target_.readFile(path); }
  void writeFileAtomically(const std::string& path, const std::string& contents) override {
    admitWrite(path, core::FileSystemError::Code::kWriteFailed);
    target_.writeFileAtomically(path, contents);
  }
  void writePiecesAtomically(const std::string& path, const std::vector<std::string_view>& pieces) override {
    admitWrite(path, core::FileSystemError::Code::kWriteFailed);
    target_.writePiecesAtomically(path, pieces);
  }
  void writeStreamAtomically(const std::string& path, const FileWriter& writer) override {
    admitWrite(path, core::FileSystemError::Code::kWriteFailed);
    target_.writeStreamAtomically(path, writer);
  }
  std::unique_ptr<core::FileVersion> fileVersion(const std::string& path) override {
    return target_.fileVersion(path);
  }
  void replaceFile(const std::string& path, const std::string& contents) override {
    admitWrite(path, core::FileSystemError::Code::kWriteFailed);
    target_.replaceFile(path, contents);
  }
  void removeFile(const std::string& path) override {
    admitWrite(path, core::FileSystemError::Code::kRemoveFailed);
    target_.removeFile(path);
  }
  std::vector<std::string> listDirectory(const std::string& path) override {
    return target_.listDirectory(path);
  }
  bool isStaleTemporaryFile(std::string_view name) override { return target_.isStaleTemporaryFile(name); }

 private:
  void admitWrite(const std::string& path, core::FileSystemError::Code code) {
    core::MutexLock lock(mutex_);
    if ((failsPath_ && failsPath_(path)) || writesLeft_ <= 0) {
      ++failedWrites_;
      throw core::FileSystemError(code, path, "No space left on device");
    }
    --writesLeft_;
  }

  core::FileSystem& target_;
  mutable core::Mutex mutex_;
  int writesLeft_ ZEPHYL_GUARDED_BY(mutex_);
  int failedWrites_ ZEPHYL_GUARDED_BY(mutex_) = 0;
  std::function<bool(const std::string&)> failsPath_;
};

}  // namespace zephyl::platform::testing
