// An advisory lock on a file, shared by every Zephyl process on the machine, so
// that two processes rewriting the same store take turns: each re-reads the
// file under the lock and merges before it writes.
#pragma once

#include <memory>
#include <string>

namespace zephyl::core {

// Held while it lives; the destructor releases the lock.
class FileLockGuard {
 public:
  virtual ~FileLockGuard() = default;
};

class FileLocker {
 public:
  virtual ~FileLocker() = default;

  // Blocks until this process holds the exclusive lock named by `path` (the
  // file is created when missing, with its folder). Throws FileSystemError
  // when the lock file cannot be opened. Any thread.
  virtual std::unique_ptr<FileLockGuard> lockExclusive(const std::string& path) = 0;
};

}  // namespace zephyl::core
