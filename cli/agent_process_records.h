// AgentProcessRecords: which agent processes Zephyl processes have started and
// not yet stopped, one small file each in a folder of the data directory. Each
// command line is its own process, so `zephyl agent stop` can only reach an
// agent started by another, still running, Zephyl (a `zephyl chat` or a long
// `zephyl agent ask`) through these records. A record holds the process id and
// its start time from /proc, so a reused process id is never signalled.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "agents/child_process.h"
#include "core/file_system.h"

namespace zephyl::cli {

class AgentProcessRecords {
 public:
  // `files` must outlive the records.
  AgentProcessRecords(core::FileSystem& files, std::string directory);

  void add(int64_t pid);
  void remove(int64_t pid);

  // Sends SIGTERM to every recorded agent still running as recorded, then
  // SIGKILL to any still there after `killDelay`; forgets every record.
  // Returns how many processes were stopped.
  int stopAll(std::chrono::milliseconds killDelay);

 private:
  std::string path(int64_t pid) const;

  core::FileSystem& files_;
  std::string directory_;
};

// Launches through `inner` and keeps a record of each child while it lives.
class RecordingChildProcessLauncher : public agents::ChildProcessLauncher {
 public:
  // `inner` and `records` must outlive the launcher and its children.
  RecordingChildProcessLauncher(agents::ChildProcessLauncher& inner, AgentProcessRecords& records)
      : inner_(inner), records_(records) {}

  std::unique_ptr<agents::ChildProcess> launch(const agents::ChildProcessLaunch& launch) override;

 private:
  agents::ChildProcessLauncher& inner_;
  AgentProcessRecords& records_;
};

// The folder of the records under the data directory.
std::string agentProcessRecordsDirectory(const std::string& dataDirectory);

}  // namespace zephyl::cli
