#include "platform/linux/posix_file_system.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

#include "core/file_system_error.h"

namespace zephyl::platform {
namespace {

using core::FileSystemError;

std::string errnoText(int error) { return std::strerror(error); }

// Closes a descriptor on every path.
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  ~FileDescriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  int get() const { return fd_; }
  int release() { return std::exchange(fd_, -1); }

 private:
  int fd_;
};

bool writeAll(int fd, const std::vector<std::string_view>& pieces) {
  std::vector<iovec> vectors;
  size_t piece = 0;
  size_t offset = 0;  // into pieces[piece]
  for (;;) {
    vectors.clear();
    for (size_t i = piece; i < pieces.size() && vectors.size() < IOV_MAX; ++i) {
      const size_t skip = i == piece ? offset : 0;
      if (pieces[i].size() > skip)
        vectors.push_back({const_cast<char*>(pieces[i].data()) + skip, pieces[i].size() - skip});
    }
    if (vectors.empty()) return true;
    const ssize_t n = ::writev(fd, vectors.data(), static_cast<int>(vectors.size()));
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    auto left = static_cast<size_t>(n);
    while (piece < pieces.size() && left >= pieces[piece].size() - offset) {
      left -= pieces[piece].size() - offset;
      offset = 0;
      ++piece;
    }
    offset += left;
  }
}

class PosixFileVersion : public core::FileVersion {
 public:
  PosixFileVersion(int fd, const struct stat& status) : fd_(fd), status_(status) {}
  ~PosixFileVersion() override { ::close(fd_); }
  PosixFileVersion(const PosixFileVersion&) = delete;
  PosixFileVersion& operator=(const PosixFileVersion&) = delete;

  bool sameAs(const core::FileVersion& other) const override {
    const auto* posix = dynamic_cast<const PosixFileVersion*>(&other);
    if (!posix) return false;
    const struct stat& a = status_;
    const struct stat& b = posix->status_;
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
           a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec &&
           a.st_ctim.tv_sec == b.st_ctim.tv_sec && a.st_ctim.tv_nsec == b.st_ctim.tv_nsec;
  }

 private:
  int fd_;  // held open: the inode cannot be reused by another file meanwhile
  struct stat status_;
};

constexpr std::string_view kTemporaryMarker = ".tmp-";

// "<target>.tmp-<pid>-<counter>": the name write() gives its temporary file.
std::string temporaryName(const std::string& path, unsigned counter) {
  return path + std::string(kTemporaryMarker) + std::to_string(::getpid()) + "-" + std::to_string(counter);
}

// The process id in a name made by temporaryName, or nullopt for any other name.
std::optional<pid_t> temporaryOwner(std::string_view name) {
  const size_t marker = name.rfind(kTemporaryMarker);
  if (marker == std::string_view::npos) return std::nullopt;
  const char* begin = name.data() + marker + kTemporaryMarker.size();
  const char* end = name.data() + name.size();
  pid_t pid = 0;
  unsigned counter = 0;
  auto [dash, error] = std::from_chars(begin, end, pid);
  if (error != std::errc() || dash == end || *dash != '-' || pid <= 0) return std::nullopt;
  auto [last, counterError] = std::from_chars(dash + 1, end, counter);
  if (counterError != std::errc() || last != end) return std::nullopt;
  return pid;
}

// Unmaps on destruction.
class MappedFileView : public core::FileView {
 public:
  MappedFileView(void* address, size_t size) : address_(address), size_(size) {}
  ~MappedFileView() override { ::munmap(address_, size_); }
  MappedFileView(const MappedFileView&) = delete;
  MappedFileView& operator=(const MappedFileView&) = delete;
  std::string_view bytes() const override { return {static_cast<const char*>(address_), size_}; }
  void doneWith(size_t end) const override {
    // Whole pages only; read again, they come back from the file.
    static const auto kPage = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
    const size_t pages = std::min(end, size_) / kPage * kPage;
    if (pages > 0) ::madvise(address_, pages, MADV_DONTNEED);
  }

 private:
  void* address_;
  size_t size_;
};

bool processRuns(pid_t pid) { return ::kill(pid, 0) == 0 || errno == EPERM; }

}  // namespace

bool PosixFileSystem::fileExists(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0;
}

bool PosixFileSystem::isDirectory(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::optional<std::string> PosixFileSystem::unsearchableFolderOnPath(const std::string& path) {
  struct stat status;
  if (::stat(path.c_str(), &status) == 0 || errno != EACCES) return std::nullopt;
  // The first folder from the top that we lack search permission on (effective ids, as stat uses).
  const std::filesystem::path target(path);
  std::filesystem::path folder;
  for (auto component = target.begin(); component != target.end(); ++component) {
    if (std::next(component) == target.end()) break;
    folder /= *component;
    if (::faccessat(AT_FDCWD, folder.c_str(), X_OK, AT_EACCESS) != 0 && errno == EACCES) {
      return folder.string();
    }
  }
  return target.parent_path().string();
}

bool PosixFileSystem::isSymbolicLink(const std::string& path) {
  struct stat status;
  return ::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

bool PosixFileSystem::isRegularFile(const std::string& path) {
  struct stat status;
  return ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

std::optional<std::string> PosixFileSystem::readFile(const std::string& path) {
  FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd.get() < 0) {
    if (errno == ENOENT) return std::nullopt;
    throw FileSystemError(FileSystemError::Code::kReadFailed, path, errnoText(errno));
  }
  // Sized from the file's length up front, so a large file is read straight
  // into place; a file that grows meanwhile is read to its end all the same.
  struct stat status;
  const size_t expected =
      ::fstat(fd.get(), &status) == 0 && status.st_size > 0 ? static_cast<size_t>(status.st_size) : 0;
  std::string contents(expected + 1, '\0');
  size_t length = 0;
  for (;;) {
    if (length == contents.size()) contents.resize(contents.size() * 2 + 65536);
    const ssize_t n = ::read(fd.get(), contents.data() + length, contents.size() - length);
    if (n < 0) {
      if (errno == EINTR) continue;
      throw FileSystemError(FileSystemError::Code::kReadFailed, path, errnoText(errno));
    }
    if (n == 0) break;
    length += static_cast<size_t>(n);
  }
  contents.resize(length);
  return contents;
}

std::shared_ptr<const core::FileView> PosixFileSystem::viewFile(const std::string& path) {
  FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd.get() < 0) {
    if (errno == ENOENT) return nullptr;
    throw FileSystemError(FileSystemError::Code::kReadFailed, path, errnoText(errno));
  }
  struct stat status;
  if (::fstat(fd.get(), &status) != 0) {
    throw FileSystemError(FileSystemError::Code::kReadFailed, path, errnoText(errno));
  }
  // Not a regular file (a pipe, a device): nothing to map, read it.
  if (!S_ISREG(status.st_mode)) return core::FileSystem::viewFile(path);
  if (status.st_size == 0) return std::make_shared<const core::StringFileView>(std::string());
  const auto size = static_cast<size_t>(status.st_size);
  void* address = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd.get(), 0);
  if (address == MAP_FAILED) {
    throw FileSystemError(FileSystemError::Code::kReadFailed, path, errnoText(errno));
  }
  return std::make_shared<const MappedFileView>(address, size);
}

void PosixFileSystem::writeFileAtomically(const std::string& path, const std::string& contents) {
  write(path, {contents}, /*flush=*/true);
}

void PosixFileSystem::writePiecesAtomically(const std::string& path,
                                            const std::vector<std::string_view>& pieces) {
  write(path, pieces, /*flush=*/true);
}

std::unique_ptr<core::FileVersion> PosixFileSystem::fileVersion(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return nullptr;
  struct stat status;
  if (::fstat(fd, &status) != 0) {
    ::close(fd);
    return nullptr;
  }
  return std::make_unique<PosixFileVersion>(fd, status);
}

void PosixFileSystem::replaceFile(const std::string& path, const std::string& contents) {
  write(path, {contents}, /*flush=*/false);
}

bool PosixFileSystem::replaceFileUnlessLink(const std::string& path,
                                            const std::vector<std::string_view>& pieces) {
  return write(path, pieces, /*flush=*/false, Over::kAnythingButALink);
}

void PosixFileSystem::writeStreamAtomically(const std::string& path, const FileWriter& writer) {
  constexpr size_t kChunk = size_t{1} << 20;
  write(
      path,
      [&](int fd) {
        std::string chunk;
        int error = 0;
        writer([&](std::string_view piece) {
          if (error != 0) return;
          chunk += piece;
          if (chunk.size() < kChunk) return;
          if (!writeAll(fd, {chunk})) error = errno;
          chunk.clear();
        });
        if (error == 0 && !writeAll(fd, {chunk})) error = errno;
        return error;
      },
      /*flush=*/true, Over::kAnything);
}

bool PosixFileSystem::write(const std::string& path, const std::vector<std::string_view>& pieces, bool flush,
                            Over over) {
  return write(
      path, [&](int fd) { return writeAll(fd, pieces) ? 0 : errno; }, flush, over);
}

bool PosixFileSystem::write(const std::string& path, const std::function<int(int fd)>& fill, bool flush,
                            Over over) {
  // A unique name per process and call, in the same folder so rename is atomic.
  static std::atomic<unsigned> counter{0};
  const std::string temporary = temporaryName(path, counter.fetch_add(1));
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
  int opened = ::open(temporary.c_str(), kFlags, 0644);
  int openError = errno;
  if (opened < 0 && openError == ENOENT && std::filesystem::path(path).has_parent_path()) {
    // The folder is made only when missing: most writes go to one that exists.
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
    if (error) throw FileSystemError(FileSystemError::Code::kWriteFailed, path, error.message());
    opened = ::open(temporary.c_str(), kFlags, 0644);
    openError = errno;
  }
  FileDescriptor fd(opened);
  if (fd.get() < 0) throw FileSystemError(FileSystemError::Code::kWriteFailed, path, errnoText(openError));
  const auto fail = [&](int saved) {
    ::unlink(temporary.c_str());
    throw FileSystemError(FileSystemError::Code::kWriteFailed, path, errnoText(saved));
  };
  if (const int error = fill(fd.get()); error != 0) fail(error);
  if (flush && ::fsync(fd.get()) != 0) fail(errno);
  if (::close(fd.release()) != 0) fail(errno);
  if (over == Over::kAnythingButALink) {
    // A new file takes its name in one step; only a name in use is looked at.
    if (::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0) return true;
    if (errno != EEXIST && errno != EINVAL && errno != ENOSYS) fail(errno);
    if (isSymbolicLink(path)) {
      ::unlink(temporary.c_str());
      return false;
    }
  }
  if (::rename(temporary.c_str(), path.c_str()) != 0) fail(errno);
  return true;
}

void PosixFileSystem::removeFile(const std::string& path) {
  if (::unlink(path.c_str()) != 0 && errno != ENOENT) {
    throw FileSystemError(FileSystemError::Code::kRemoveFailed, path, errnoText(errno));
  }
}

namespace {

enum class EntryType { kFile, kFolder, kOther };  // symbolic links are kOther

// Calls `take` with the type and name of each entry of a folder; nothing when
// it does not exist. The type comes from the listing where the file system
// gives it, so that most names cost no stat.
template <typename Take>
void forEachEntry(const std::string& path, Take take) {
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(path.c_str()), ::closedir);
  if (!folder) {
    if (errno == ENOENT) return;
    throw FileSystemError(FileSystemError::Code::kListFailed, path, errnoText(errno));
  }
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(folder.get());
    if (!entry) {
      if (errno != 0) throw FileSystemError(FileSystemError::Code::kListFailed, path, errnoText(errno));
      return;
    }
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    unsigned char type = entry->d_type;
    if (type == DT_UNKNOWN) {
      struct stat status;
      if (::fstatat(::dirfd(folder.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) continue;
      type = S_ISREG(status.st_mode) ? DT_REG : S_ISDIR(status.st_mode) ? DT_DIR : DT_LNK;
    }
    take(type == DT_REG ? EntryType::kFile : type == DT_DIR ? EntryType::kFolder : EntryType::kOther, name);
  }
}

}  // namespace

std::vector<std::string> PosixFileSystem::listDirectory(const std::string& path) {
  std::vector<std::string> names;
  forEachEntry(path, [&](EntryType, std::string_view name) { names.emplace_back(name); });
  return names;
}

std::vector<std::string> PosixFileSystem::listRegularFiles(const std::string& path) {
  std::vector<std::string> names;
  forEachEntry(path, [&](EntryType type, std::string_view name) {
    if (type == EntryType::kFile) names.emplace_back(name);
  });
  return names;
}

void PosixFileSystem::listFolder(const std::string& path, core::PackedStrings& files,
                                 std::vector<std::string>& folders) {
  forEachEntry(path, [&](EntryType type, std::string_view name) {
    if (type == EntryType::kFile) files.push_back(name);
    if (type == EntryType::kFolder) folders.emplace_back(name);
  });
}

bool PosixFileSystem::isStaleTemporaryFile(std::string_view name) {
  const auto owner = temporaryOwner(name);
  // A live process (this one included) may still rename its file into place.
  return owner && !processRuns(*owner);
}

}  // namespace zephyl::platform
