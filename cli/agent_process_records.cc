#include "cli/agent_process_records.h"

#include <signal.h>

#include <fstream>
#include <optional>
#include <sstream>
#include <thread>
#include <vector>

#include "core/logger.h"

namespace zephyl::cli {
namespace {

using namespace std::chrono_literals;

constexpr core::Logger kLog("AgentProcessRecords");

// The process's start time in clock ticks since boot (field 22 of
// /proc/PID/stat); nullopt once it is gone or only a zombie is left.
std::optional<std::string> startTime(int64_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
  std::string stat;
  if (!std::getline(file, stat)) return std::nullopt;
  const size_t nameEnd = stat.rfind(')');  // the name may hold spaces and parentheses
  if (nameEnd == std::string::npos) return std::nullopt;
  std::istringstream fields(stat.substr(nameEnd + 1));
  std::string state, field;
  fields >> state;
  if (state == "Z" || state == "X") return std::nullopt;
  for (int index = 4; index <= 22; ++index) fields >> field;  // fields 4 to 22
  if (!fields) return std::nullopt;
  return field;
}

// Forgets the record when the child goes; forwards everything else.
class RecordedChildProcess : public agents::ChildProcess {
 public:
  RecordedChildProcess(std::unique_ptr<agents::ChildProcess> child, AgentProcessRecords& records)
      : child_(std::move(child)), records_(records) {
    records_.add(child_->pid());
  }
  ~RecordedChildProcess() override {
    const int64_t pid = child_->pid();
    child_.reset();  // kills and reaps the child first
    records_.remove(pid);
  }

  int64_t pid() const override { return child_->pid(); }
  void writeInput(std::string_view bytes) override { child_->writeInput(bytes); }
  void abortInput() override { child_->abortInput(); }
  void closeInput() override { child_->closeInput(); }
  agents::ChildProcessEvent wait(std::span<char> buffer, bool readOutput,
                                 std::optional<std::chrono::steady_clock::time_point> deadline) override {
    return child_->wait(buffer, readOutput, deadline);
  }
  void wake() override { child_->wake(); }
  void sendSignal(int signal) override { child_->sendSignal(signal); }

 private:
  std::unique_ptr<agents::ChildProcess> child_;
  AgentProcessRecords& records_;
};

}  // namespace

std::string agentProcessRecordsDirectory(const std::string& dataDirectory) {
  return dataDirectory + "/agents/running";
}

AgentProcessRecords::AgentProcessRecords(core::FileSystem& files, std::string directory)
    : files_(files), directory_(std::move(directory)) {}

std::string AgentProcessRecords::path(int64_t pid) const { return directory_ + "/" + std::to_string(pid); }

void AgentProcessRecords::add(int64_t pid) {
  const std::optional<std::string> started = startTime(pid);
  if (!started) return;  // gone already: nothing to stop later
  try {
    files_.writeFileAtomically(path(pid), std::to_string(pid) + " " + *started + "\n");
  } catch (const core::Error& error) {
    // Only `zephyl agent stop` needs the record; the agent runs without it.
    kLog.warning() << "Could not record agent process " << pid << ": " << error.description();
  }
}

void AgentProcessRecords::remove(int64_t pid) {
  try {
    files_.removeFile(path(pid));
  } catch (const core::Error& error) {
    kLog.warning() << "Could not forget agent process " << pid << ": " << error.description();
  }
}

int AgentProcessRecords::stopAll(std::chrono::milliseconds killDelay) {
  std::vector<std::pair<int64_t, std::string>> running;
  std::vector<std::string> names;
  try {
    names = files_.listDirectory(directory_);
  } catch (const core::Error&) {
    return 0;  // no folder: nothing was ever recorded
  }
  for (const std::string& name : names) {
    const std::optional<std::string> text = files_.readFile(directory_ + "/" + name);
    std::istringstream record(text.value_or(""));
    int64_t pid = 0;
    std::string started;
    if (record >> pid >> started && pid > 1 && startTime(pid) == started) {
      if (::kill(static_cast<pid_t>(pid), SIGTERM) == 0) running.emplace_back(pid, started);
    }
    try {
      files_.removeFile(directory_ + "/" + name);
    } catch (const core::Error&) {
      // The owner removes it again when its agent ends.
    }
  }
  const auto deadline = std::chrono::steady_clock::now() + killDelay;
  for (const auto& [pid, started] : running) {
    while (startTime(pid) == started && std::chrono::steady_clock::now() < deadline)
      std::this_thread::sleep_for(20ms);
    if (startTime(pid) == started) ::kill(static_cast<pid_t>(pid), SIGKILL);
  }
  return static_cast<int>(running.size());
}

std::unique_ptr<agents::ChildProcess> RecordingChildProcessLauncher::launch(
    const agents::ChildProcessLaunch& launch) {
  return std::make_unique<RecordedChildProcess>(inner_.launch(launch), records_);
}

}  // namespace zephyl::cli
