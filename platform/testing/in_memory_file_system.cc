#include "platform/testing/in_memory_file_system.h"

#include "core/file_system_error.h"

namespace zephyl::platform::testing {

bool InMemoryFileSystem::fileExists(const std::string& path) {
  std::lock_guard lock(mutex_);
  return files_.count(path) != 0 || directories_.count(path) != 0;
}

bool InMemoryFileSystem::isDirectory(const std::string& path) {
  std::lock_guard lock(mutex_);
  return directories_.count(path) != 0;
}

std::optional<std::string> InMemoryFileSystem::readFile(const std::string& path) {
  std::lock_guard lock(mutex_);
  if (failReads_) {
    throw core::FileSystemError(core::FileSystemError::Code::kReadFailed, path, "Permission denied");
  }
  auto it = files_.find(path);
  if (it == files_.end()) return std::nullopt;
  return it->second;
}

void InMemoryFileSystem::writeFileAtomically(const std::string& path, const std::string& contents) {
  std::lock_guard lock(mutex_);
  if (failWrites_) {
    throw core::FileSystemError(core::FileSystemError::Code::kWriteFailed, path, "No space left on device");
  }
  files_[path] = contents;
  ++writeCount_;
}

void InMemoryFileSystem::addFile(const std::string& path, const std::string& contents) {
  std::lock_guard lock(mutex_);
  files_[path] = contents;
}

void InMemoryFileSystem::addDirectory(const std::string& path) {
  std::lock_guard lock(mutex_);
  directories_.insert(path);
}

std::optional<std::string> InMemoryFileSystem::contents(const std::string& path) const {
  std::lock_guard lock(mutex_);
  auto it = files_.find(path);
  if (it == files_.end()) return std::nullopt;
  return it->second;
}

}  // namespace zephyl::platform::testing
