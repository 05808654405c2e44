#include "platform/linux/file_credential_store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include "ai/credential_store_error.h"
#include "core/json_value.h"
#include "core/logger.h"

namespace zephyl::platform {
namespace {

using ai::CredentialStoreError;
using Code = CredentialStoreError::Code;

constexpr core::Logger kLog("FileCredentialStore");

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }
  int release() { return std::exchange(fd_, -1); }

 private:
  int fd_;
};

std::string folderOf(const std::string& path) { return std::filesystem::path(path).parent_path().string(); }

std::string errnoText() { return std::strerror(errno); }

// Other users must not be able to read the secrets or swap the file.
void checkPrivate(const struct stat& status, const std::string& path, bool folder) {
  if (status.st_uid != ::getuid()) {
    throw CredentialStoreError(Code::kFileExposed,
                               path + " belongs to another user; remove it and store the keys again");
  }
  if ((status.st_mode & 077) != 0) {
    throw CredentialStoreError(Code::kFileExposed,
                               path + "; fix it with: chmod " + (folder ? "700 " : "600 ") + path);
  }
}

// Makes the folder private when it is new; checks it when it exists.
void prepareFolder(const std::string& folder, bool create) {
  struct stat status;
  if (::lstat(folder.c_str(), &status) != 0) {
    if (errno != ENOENT || !create) return;
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(folder).parent_path(), error);
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
      throw CredentialStoreError(Code::kWriteFailed, folder + " (" + errnoText() + ")");
    }
    if (::lstat(folder.c_str(), &status) != 0) {
      throw CredentialStoreError(Code::kWriteFailed, folder + " (" + errnoText() + ")");
    }
  }
  if (!S_ISDIR(status.st_mode))
    throw CredentialStoreError(Code::kFileUnreadable, folder + " is not a folder");
  checkPrivate(status, folder, /*folder=*/true);
}

core::JSONValue::Object parseSecrets(const std::string& text, const std::string& path) {
  if (text.find_first_not_of(" \t\r\n") == std::string::npos) return {};
  const std::string unreadable =
      path + " is not a credentials file Zephyl wrote; move it away and store the keys again";
  core::JSONValue document;
  try {
    document = core::JSONValue::parse(text);
  } catch (const core::Error&) {
    throw CredentialStoreError(Code::kFileUnreadable, unreadable);
  }
  const auto* secrets = document.object();
  if (!secrets) throw CredentialStoreError(Code::kFileUnreadable, unreadable);
  for (const auto& [name, value] : *secrets) {
    if (!value.string()) throw CredentialStoreError(Code::kFileUnreadable, unreadable);
  }
  return *secrets;
}

// The stored secrets; empty when there is no file yet.
core::JSONValue::Object readSecrets(const std::string& path) {
  prepareFolder(folderOf(path), /*create=*/false);
  Descriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  if (fd.get() < 0) {
    if (errno == ENOENT) return {};
    throw CredentialStoreError(Code::kFileUnreadable, path + " (" + errnoText() + ")");
  }
  struct stat status;
  if (::fstat(fd.get(), &status) != 0)
    throw CredentialStoreError(Code::kFileUnreadable, path + " (" + errnoText() + ")");
  if (S_ISDIR(status.st_mode)) {
    throw CredentialStoreError(Code::kFileUnreadable, path + " is a folder; move it away");
  }
  if (!S_ISREG(status.st_mode))
    throw CredentialStoreError(Code::kFileUnreadable, path + " is not a plain file");
  checkPrivate(status, path, /*folder=*/false);
  std::string text;
  char buffer[16384];
  for (;;) {
    const ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
    if (n < 0) {
      if (errno == EINTR) continue;
      throw CredentialStoreError(Code::kFileUnreadable, path + " (" + errnoText() + ")");
    }
    if (n == 0) break;
    text.append(buffer, static_cast<size_t>(n));
  }
  return parseSecrets(text, path);
}

void writeSecrets(const std::string& path, const core::JSONValue::Object& secrets) {
  const std::string temporary = path + ".tmp-" + std::to_string(::getpid());
  const auto fail = [&](const std::string& step) {
    const std::string reason = errnoText();
    ::unlink(temporary.c_str());
    throw CredentialStoreError(Code::kWriteFailed, path + " (" + step + ": " + reason + ")");
  };
  ::unlink(temporary.c_str());  // left by a process of ours that was killed; we hold the lock
  Descriptor fd(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (fd.get() < 0) fail("create");
  const std::string text = core::JSONValue(secrets).serialized() + "\n";
  size_t written = 0;
  while (written < text.size()) {
    const ssize_t n = ::write(fd.get(), text.data() + written, text.size() - written);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) fail("write");
    written += static_cast<size_t>(n);
  }
  if (::fsync(fd.get()) != 0) fail("fsync");
  if (::close(fd.release()) != 0) fail("close");
  if (::rename(temporary.c_str(), path.c_str()) != 0) fail("rename");
  // The rename itself must survive a power cut too.
  Descriptor folder(::open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.get() >= 0) ::fsync(folder.get());
}

// Runs `change` on the stored secrets under an exclusive lock and writes the result.
template <typename Change>
void modifySecrets(const std::string& path, Change&& change) {
  prepareFolder(folderOf(path), /*create=*/true);
  const std::string lockPath = path + ".lock";
  Descriptor lock(::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (lock.get() < 0) throw CredentialStoreError(Code::kWriteFailed, lockPath + " (" + errnoText() + ")");
  while (::flock(lock.get(), LOCK_EX) != 0) {
    if (errno != EINTR) throw CredentialStoreError(Code::kWriteFailed, lockPath + " (" + errnoText() + ")");
  }
  core::JSONValue::Object secrets = readSecrets(path);
  if (!change(secrets)) return;
  writeSecrets(path, secrets);
}

}  // namespace

FileCredentialStore::FileCredentialStore(std::string path) : path_(std::move(path)) {}

std::optional<std::string> FileCredentialStore::secret(const std::string& name) {
  for (const auto& [key, value] : readSecrets(path_)) {
    if (key == name) return *value.string();
  }
  return std::nullopt;
}

void FileCredentialStore::setSecret(const std::string& name, const std::string& value) {
  modifySecrets(path_, [&](core::JSONValue::Object& secrets) {
    for (auto& [key, stored] : secrets) {
      if (key == name) {
        stored = value;
        return true;
      }
    }
    secrets.emplace_back(name, value);
    return true;
  });
  kLog.info() << "Stored the secret " << name;
}

void FileCredentialStore::removeSecret(const std::string& name) {
  if (::access(path_.c_str(), F_OK) != 0 && errno == ENOENT) return;
  modifySecrets(path_, [&](core::JSONValue::Object& secrets) {
    return std::erase_if(secrets, [&](const auto& entry) { return entry.first == name; }) > 0;
  });
  kLog.info() << "Removed the secret " << name;
}

}  // namespace zephyl::platform
