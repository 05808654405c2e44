#include "platform/testing/in_memory_file_system.h"

#include "core/file_system_error.h"

namespace zephyl::platform::testing {

bool InMemoryFileSystem::fileExists(const std::string& path) {
  if (isDirectory(path)) return true;
  std::lock_guard lock(mutex_);
  return !unsearchableAncestorLocked(path) && files_.count(path) != 0;
}

bool InMemoryFileSystem::isDirectory(const std::string& path) {
  std::lock_guard lock(mutex_);
  if (unsearchableAncestorLocked(path)) return false;
  if (directories_.count(path) != 0) return true;
  // Folders that hold files exist too, as they would on disk.
  const std::string prefix = path + "/";
  const auto it = files_.lower_bound(prefix);
  return it != files_.end() && it->first.starts_with(prefix);
}

std::optional<std::string> InMemoryFileSystem::unsearchableFolderOnPath(const std::string& path) {
  std::lock_guard lock(mutex_);
  return unsearchableAncestorLocked(path);
}

std::optional<std::string> InMemoryFileSystem::unsearchableAncestorLocked(const std::string& path) const {
  for (const auto& folder : unsearchable_) {
    if (path.starts_with(folder + "/")) return folder;
  }
  return std::nullopt;
}

void InMemoryFileSystem::denySearch(const std::string& folder) {
  std::lock_guard lock(mutex_);
  directories_.insert(folder);
  unsearchable_.insert(folder);
}

bool InMemoryFileSystem::isSymbolicLink(const std::string& path) {
  std::lock_guard lock(mutex_);
  return symbolicLinks_.count(path) != 0;
}

std::optional<std::string> InMemoryFileSystem::readFile(const std::string& path) {
  std::lock_guard lock(mutex_);
  if (failReads_) {
    throw core::FileSystemError(core::FileSystemError::Code::kReadFailed, path, "Permission denied");
  }
  if (unsearchableAncestorLocked(path)) {
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

void InMemoryFileSystem::replaceFile(const std::string& path, const std::string& contents) {
  writeFileAtomically(path, contents);
}

void InMemoryFileSystem::removeFile(const std::string& path) {
  std::lock_guard lock(mutex_);
  if (failWrites_) {
    throw core::FileSystemError(core::FileSystemError::Code::kRemoveFailed, path, "Permission denied");
  }
  files_.erase(path);
}

std::vector<std::string> InMemoryFileSystem::listDirectory(const std::string& path) {
  std::lock_guard lock(mutex_);
  if (failReads_)
    throw core::FileSystemError(core::FileSystemError::Code::kListFailed, path, "Permission denied");
  // Files and folders directly inside `path`, including folders implied by file paths.
  std::set<std::string> names;
  const std::string prefix = path.ends_with('/') ? path : path + "/";
  auto consider = [&](const std::string& entry) {
    if (!entry.starts_with(prefix) || entry.size() == prefix.size()) return;
    names.insert(entry.substr(prefix.size(), entry.find('/', prefix.size()) - prefix.size()));
  };
  for (const auto& [file, contents] : files_) consider(file);
  for (const auto& directory : directories_) consider(directory);
  return {names.begin(), names.end()};
}

void InMemoryFileSystem::addFile(const std::string& path, const std::string& contents) {
  std::lock_guard lock(mutex_);
  files_[path] = contents;
}

void InMemoryFileSystem::addSymbolicLink(const std::string& path) {
  std::lock_guard lock(mutex_);
  symbolicLinks_.insert(path);
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
