// agents::ChildProcess on Linux: posix_spawn with every other descriptor closed
// in the child, pipes and descriptors close-on-exec in this process, and a
// pidfd, so that the child's exit is seen by itself even while a grandchild
// still holds its standard output open.
#pragma once

#include <memory>

#include "agents/child_process.h"

namespace zephyl::platform {

class PosixSpawnChildProcessLauncher : public agents::ChildProcessLauncher {
 public:
  std::unique_ptr<agents::ChildProcess> launch(const agents::ChildProcessLaunch& launch) override;
};

}  // namespace zephyl::platform
