// An advisory lock on a file shared by processes, so that two Zephyl processes
// that read, merge and write the same file never lose each other's changes.
#pragma once

#include <memory>
#include <string>

namespace zephyl::core {

// Held while alive; the destructor releases it.
class FileLockHold {
 public:
  virtual ~FileLockHold() = default;
};

class FileLocker {
 public:
  virtual ~FileLocker() = default;
  // Blocks until this process holds the exclusive lock of `path` (created when
  // missing, never written), then returns the hold. Throws FileSystemError.
  virtual std::unique_ptr<FileLockHold> lockExclusive(const std::string& path) = 0;
};

}  // namespace zephyl::core
