// core::FileLocker on flock(2). The lock lives on a file of its own beside the
// data: the data file is replaced by rename on every save, and a lock on a
// replaced inode would exclude nobody.
#pragma once

#include "core/file_lock.h"

namespace zephyl::platform {

class FlockFileLocker : public core::FileLocker {
 public:
  std::unique_ptr<core::FileLockGuard> lockExclusive(const std::string& path) override;
};

}  // namespace zephyl::platform
