// ChildProcess: an external program launched with its standard input and output
// as pipes to this process and its standard error on the null device. Agents
// declare what they need of a child; the platform implements it (posix_spawn
// and a pidfd on Linux, platform/linux/posix_spawn_child_process.h).
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/error.h"

namespace zephyl::agents {

class ChildProcessError : public core::Error {
 public:
  enum class Code { kLaunchFailed, kWriteFailed };

  // The system's reason goes to the log, not into the text.
  explicit ChildProcessError(Code code) : Error(std::string(text(code))), code_(code) {}

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kLaunchFailed:
        return "The agent program could not be started.";
      case Code::kWriteFailed:
        return "The agent program no longer accepts input.";
    }
    return {};
  }

  Code code() const { return code_; }

 private:
  Code code_;
};

struct ChildProcessLaunch {
  std::string executable;  // a path, or a name looked up in PATH
  std::vector<std::string> arguments = {};
  std::map<std::string, std::string> environment = {};  // the child's whole environment
  std::string workingDirectory = {};                    // empty: this process's
};

// What wait() saw.
struct ChildProcessEvent {
  enum class Kind {
    kOutput,       // `bytes` bytes of standard output were read into the buffer
    kOutputEnded,  // every writer of standard output closed it; the child may still run
    kExited,       // the child exited (output written before its exit was read first)
    kWoken,        // wake() was called
    kTimedOut,     // the deadline passed
  };
  Kind kind;
  size_t bytes = 0;
  int status = 0;  // kExited: the exit status, or the number of the signal that ended it
};

class ChildProcess {
 public:
  // Kills and reaps a child still running, so that no zombie remains.
  virtual ~ChildProcess() = default;

  virtual int64_t pid() const = 0;

  // Writes every byte to the child's standard input. Never raises SIGPIPE;
  // throws ChildProcessError (write failed) when the child is gone, the input
  // was closed, or abortInput() was called. One writer at a time.
  virtual void writeInput(std::string_view bytes) = 0;
  // Makes a writeInput() blocked on a full pipe (or any later one) fail at once.
  // Any thread.
  virtual void abortInput() = 0;
  // Closes the child's standard input; not concurrently with writeInput().
  virtual void closeInput() = 0;

  // Waits until output is available (when `readOutput`), the child exits,
  // wake() is called or `deadline` passes. Once kExited was returned the child
  // is reaped and later calls return kExited again. One reading thread.
  virtual ChildProcessEvent wait(std::span<char> buffer, bool readOutput,
                                 std::optional<std::chrono::steady_clock::time_point> deadline) = 0;
  // Wakes wait() once, from any thread.
  virtual void wake() = 0;

  // Sends `signal` unless the child has already exited and been reaped (the
  // process id may belong to another program by then). Any thread.
  virtual void sendSignal(int signal) = 0;
};

class ChildProcessLauncher {
 public:
  virtual ~ChildProcessLauncher() = default;
  // Throws ChildProcessError (launch failed).
  virtual std::unique_ptr<ChildProcess> launch(const ChildProcessLaunch& launch) = 0;
};

}  // namespace zephyl::agents
