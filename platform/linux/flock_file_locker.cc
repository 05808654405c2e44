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

using core::FileSystemError;

// The descriptor carries the lock; closing it (also when the process dies)
// releases it.
class FlockGuard : public core::FileLockGuard {
 public:
  explicit FlockGuard(int fd) : fd_(fd) {}
  ~FlockGuard() override { ::close(fd_); }

 private:
  int fd_;
};

}  // namespace

std::unique_ptr<core::FileLockGuard> FlockFileLocker::lockExclusive(const std::string& path) {
  const std::filesystem::path target(path);
  std::error_code error;
  if (target.has_parent_path()) std::filesystem::create_directories(target.parent_path(), error);
  if (error) throw FileSystemError(FileSystemError::Code::kWriteFailed, path, error.message());
  const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) throw FileSystemError(FileSystemError::Code::kWriteFailed, path, std::strerror(errno));
  while (::flock(fd, LOCK_EX) != 0) {
    if (errno == EINTR) continue;
    const int saved = errno;
    ::close(fd);
    throw FileSystemError(FileSystemError::Code::kWriteFailed, path, std::strerror(saved));
  }
  return std::make_unique<FlockGuard>(fd);
}

}  // namespace zephyl::platform
