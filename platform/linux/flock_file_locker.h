// core::FileLocker with flock(2): the lock belongs to the open file description,
// so it is released when the hold closes it or when the process dies, also by
// SIGKILL.
#pragma once

#include "core/file_lock.h"

namespace zephyl::platform {

class FlockFileLocker : public core::FileLocker {
 public:
  std::unique_ptr<core::FileLockHold> lockExclusive(const std::string& path) override;
};

}  // namespace zephyl::platform
