#include "platform/linux/flock_file_locker.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "core/file_system_error.h"

namespace zephyl::platform {
namespace {

class FlockHold : public core::FileLockHold {
 public:
  explicit FlockHold(int fd) : fd_(fd) {}
  ~FlockHold() override { ::close(fd_); }  // closing the description releases the lock
  FlockHold(const FlockHold&) = delete;
  FlockHold& operator=(const FlockHold&) = delete;

 private:
  int fd_;
};

}  // namespace

std::unique_ptr<core::FileLockHold> FlockFileLocker::lockExclusive(const std::string& path) {
  using core::FileSystemError;
  const std::filesystem::path target(path);
  if (target.has_parent_path()) {
    std::error_code error;
    std::filesystem::create_directories(target.parent_path(), error);
    if (error) throw FileSystemError(FileSystemError::Code::kLockFailed, path, error.message());
  }
  const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) throw FileSystemError(FileSystemError::Code::kLockFailed, path, std::strerror(errno));
  while (::flock(fd, LOCK_EX) != 0) {
    if (errno == EINTR) continue;
    const int saved = errno;
    ::close(fd);
    throw FileSystemError(FileSystemError::Code::kLockFailed, path, std::strerror(saved));
  }
  return std::make_unique<FlockHold>(fd);
}

}  // namespace zephyl::platform
