#include "platform/linux/posix_spawn_child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "core/logger.h"

namespace zephyl::platform {
namespace {

using agents::ChildProcessError;
using agents::ChildProcessEvent;
using Clock = std::chrono::steady_clock;

constexpr core::Logger kLog("ChildProcess");

int pidfdOpen(pid_t pid) { return static_cast<int>(syscall(SYS_pidfd_open, pid, 0)); }

int pidfdSendSignal(int pidfd, int signal) {
  return static_cast<int>(syscall(SYS_pidfd_send_signal, pidfd, signal, nullptr, 0));
}

void closeDescriptor(int& fd) {
  if (fd >= 0) ::close(fd);
  fd = -1;
}

void signalEventDescriptor(int fd) {
  const uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(fd, &one, sizeof one);  // a full counter is still readable
}

// Linux has neither F_SETNOSIGPIPE nor MSG_NOSIGNAL for pipes, and ignoring
// SIGPIPE for the whole process would change how everything else in it reacts
// to a closed pipe. So the writing thread blocks SIGPIPE while it writes; a
// SIGPIPE its own write raised stays pending on that thread and is taken with
// sigtimedwait before the old mask returns, and the write reports EPIPE.
class SigpipeBlockedOnThisThread {
 public:
  SigpipeBlockedOnThisThread() {
    sigemptyset(&pipeOnly_);
    sigaddset(&pipeOnly_, SIGPIPE);
    sigset_t pendingBefore;
    sigpending(&pendingBefore);
    wasPending_ = sigismember(&pendingBefore, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &pipeOnly_, &previous_);
  }
  ~SigpipeBlockedOnThisThread() {
    if (raised_ && !wasPending_) {
      const timespec noWait{0, 0};
      while (sigtimedwait(&pipeOnly_, nullptr, &noWait) < 0 && errno == EINTR) {
      }
    }
    pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
  }
  void noteBrokenPipe() { raised_ = true; }

 private:
  sigset_t pipeOnly_;
  sigset_t previous_;
  bool wasPending_ = false;
  bool raised_ = false;
};

class PosixSpawnChildProcess : public agents::ChildProcess {
 public:
  PosixSpawnChildProcess(pid_t pid, int pidfd, int inputFd, int outputFd, int wakeFd, int abortFd)
      : pid_(pid),
        pidfd_(pidfd),
        inputFd_(inputFd),
        outputFd_(outputFd),
        wakeFd_(wakeFd),
        abortFd_(abortFd) {}

  ~PosixSpawnChildProcess() override {
    if (!exited_) {
      pidfdSendSignal(pidfd_, SIGKILL);
      reap();
    }
    for (int* fd : {&pidfd_, &inputFd_, &outputFd_, &wakeFd_, &abortFd_}) closeDescriptor(*fd);
  }

  int64_t pid() const override { return pid_; }

  void writeInput(std::string_view bytes) override {
    SigpipeBlockedOnThisThread sigpipeBlocked;
    while (!bytes.empty()) {
      if (aborted_ || inputFd_ < 0) throw ChildProcessError(ChildProcessError::Code::kWriteFailed);
      const ssize_t written = ::write(inputFd_, bytes.data(), bytes.size());
      if (written > 0) {
        bytes.remove_prefix(static_cast<size_t>(written));
        continue;
      }
      if (written < 0 && errno == EINTR) continue;
      if (written < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
        // A full pipe: wait until the child reads, or until the input is aborted.
        pollfd fds[2] = {{inputFd_, POLLOUT, 0}, {abortFd_, POLLIN, 0}};
        if (::poll(fds, 2, -1) < 0 && errno != EINTR) throwWriteFailed(errno);
        continue;
      }
      if (written < 0 && errno == EPIPE) sigpipeBlocked.noteBrokenPipe();
      throwWriteFailed(written < 0 ? errno : EIO);
    }
  }

  void abortInput() override {
    aborted_ = true;
    signalEventDescriptor(abortFd_);
  }

  void closeInput() override { closeDescriptor(inputFd_); }

  ChildProcessEvent wait(std::span<char> buffer, bool readOutput,
                         std::optional<Clock::time_point> deadline) override {
    for (;;) {
      if (exited_) return {ChildProcessEvent::Kind::kExited, 0, status_};
      const bool watchOutput = readOutput && !outputEnded_;
      pollfd fds[3] = {{wakeFd_, POLLIN, 0}, {pidfd_, POLLIN, 0}, {outputFd_, POLLIN, 0}};
      int timeout = -1;
      if (deadline) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now()).count();
        timeout = static_cast<int>(std::max<decltype(left)>(left, 0));
      }
      const int ready = ::poll(fds, watchOutput ? 3 : 2, timeout);
      if (ready < 0) {
        if (errno == EINTR) continue;
        throw std::system_error(errno, std::generic_category(), "poll");
      }
      if (ready == 0) return {ChildProcessEvent::Kind::kTimedOut};
      if (fds[0].revents != 0) {
        uint64_t count;
        [[maybe_unused]] const auto got = ::read(wakeFd_, &count, sizeof count);
        return {ChildProcessEvent::Kind::kWoken};
      }
      // Output before exit: what the child wrote before it died is read first.
      if (watchOutput && fds[2].revents != 0) {
        const ssize_t got = ::read(outputFd_, buffer.data(), buffer.size());
        if (got > 0) return {ChildProcessEvent::Kind::kOutput, static_cast<size_t>(got)};
        if (got < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        outputEnded_ = true;
        return {ChildProcessEvent::Kind::kOutputEnded};
      }
      if (fds[1].revents != 0) {
        reap();
        return {ChildProcessEvent::Kind::kExited, 0, status_};
      }
    }
  }

  void wake() override { signalEventDescriptor(wakeFd_); }

  void sendSignal(int signal) override {
    // A pidfd names this child only, even after its process id was reused.
    if (!exited_) pidfdSendSignal(pidfd_, signal);
  }

 private:
  [[noreturn]] void throwWriteFailed(int error) {
    kLog.error() << "Write to child process " << pid_ << " failed: " << std::strerror(error);
    throw ChildProcessError(ChildProcessError::Code::kWriteFailed);
  }

  void reap() {
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    status_ = WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status);
    exited_ = true;
  }

  const pid_t pid_;
  int pidfd_;
  int inputFd_;  // non-blocking, so that a write waits in poll and can be aborted
  int outputFd_;
  int wakeFd_;                        // eventfd: wakes wait()
  int abortFd_;                       // eventfd: fails writes for good
  std::atomic<bool> exited_ = false;  // set by the reading thread once reaped
  std::atomic<bool> aborted_ = false;
  int status_ = 0;            // reading thread only
  bool outputEnded_ = false;  // reading thread only
};

struct SpawnSetup {
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  SpawnSetup() {
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
  }
  ~SpawnSetup() {
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
  }
};

[[noreturn]] void launchFailed(const std::string& executable, int error) {
  kLog.error() << "Could not launch " << core::Private(executable) << ": " << std::strerror(error);
  throw ChildProcessError(ChildProcessError::Code::kLaunchFailed);
}

}  // namespace

std::unique_ptr<agents::ChildProcess> PosixSpawnChildProcessLauncher::launch(
    const agents::ChildProcessLaunch& launch) {
  // Every descriptor of ours is close-on-exec from birth, so a child launched by
  // another thread at the same moment inherits none of them.
  int input[2];
  int output[2];
  if (::pipe2(input, O_CLOEXEC) != 0) launchFailed(launch.executable, errno);
  if (::pipe2(output, O_CLOEXEC) != 0) {
    const int error = errno;
    ::close(input[0]);
    ::close(input[1]);
    launchFailed(launch.executable, error);
  }

  SpawnSetup setup;
  posix_spawn_file_actions_adddup2(&setup.actions, input[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&setup.actions, output[1], STDOUT_FILENO);
  // Nobody reads the agent's diagnostics; a pipe nobody drains would block it.
  posix_spawn_file_actions_addopen(&setup.actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  if (!launch.workingDirectory.empty()) {
    posix_spawn_file_actions_addchdir_np(&setup.actions, launch.workingDirectory.c_str());
  }
  // Descriptors that other libraries opened without close-on-exec stay ours too.
  posix_spawn_file_actions_addclosefrom_np(&setup.actions, STDERR_FILENO + 1);
  // The child starts with default dispositions and no blocked signals, whatever
  // this thread ignores or blocks (SIGPIPE while writing, for one).
  sigset_t none;
  sigset_t all;
  sigemptyset(&none);
  sigfillset(&all);
  posix_spawnattr_setsigmask(&setup.attributes, &none);
  posix_spawnattr_setsigdefault(&setup.attributes, &all);
  posix_spawnattr_setflags(&setup.attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

  std::vector<std::string> argumentStorage{launch.executable};
  argumentStorage.insert(argumentStorage.end(), launch.arguments.begin(), launch.arguments.end());
  std::vector<char*> argv;
  for (auto& argument : argumentStorage) argv.push_back(argument.data());
  argv.push_back(nullptr);
  std::vector<std::string> environmentStorage;
  for (const auto& [name, value] : launch.environment) environmentStorage.push_back(name + "=" + value);
  std::vector<char*> envp;
  for (auto& entry : environmentStorage) envp.push_back(entry.data());
  envp.push_back(nullptr);

  pid_t pid = 0;
  const int spawnError = ::posix_spawnp(&pid, launch.executable.c_str(), &setup.actions, &setup.attributes,
                                        argv.data(), envp.data());
  ::close(input[0]);
  ::close(output[1]);
  if (spawnError != 0) {
    ::close(input[1]);
    ::close(output[0]);
    launchFailed(launch.executable, spawnError);
  }

  const int pidfd = pidfdOpen(pid);
  const int wakeFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  const int abortFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (pidfd < 0 || wakeFd < 0 || abortFd < 0) {
    const int error = errno;
    ::kill(pid, SIGKILL);
    while (::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
    }
    for (int fd : {pidfd, wakeFd, abortFd, input[1], output[0]}) {
      if (fd >= 0) ::close(fd);
    }
    launchFailed(launch.executable, error);
  }
  ::fcntl(input[1], F_SETFL, ::fcntl(input[1], F_GETFL) | O_NONBLOCK);
  ::fcntl(output[0], F_SETFL, ::fcntl(output[0], F_GETFL) | O_NONBLOCK);
  return std::make_unique<PosixSpawnChildProcess>(pid, pidfd, input[1], output[0], wakeFd, abortFd);
}

}  // namespace zephyl::platform
