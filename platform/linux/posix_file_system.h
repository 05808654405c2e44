// core::FileSystem on POSIX files.
#pragma once

#include "core/file_system.h"

namespace zephyl::platform {

class PosixFileSystem : public core::FileSystem {
 public:
  bool fileExists(const std::string& path) override;
  bool isDirectory(const std::string& path) override;
  std::optional<std::string> unsearchableFolderOnPath(const std::string& path) override;
  bool isSymbolicLink(const std::string& path) override;
  bool isRegularFile(const std::string& path) override;
  std::optional<std::string> readFile(const std::string& path) override;
  // A private read-only mapping (an empty file is an empty view).
  std::shared_ptr<const core::FileView> viewFile(const std::string& path) override;
  void writeFileAtomically(const std::string& path, const std::string& contents) override;
  void writePiecesAtomically(const std::string& path, const std::vector<std::string_view>& pieces) override;
  // Written in pieces of about a megabyte as they are made.
  void writeStreamAtomically(const std::string& path, const FileWriter& writer) override;
  // Keeps the file open, so its inode is not reused while the version lives.
  std::unique_ptr<core::FileVersion> fileVersion(const std::string& path) override;
  void replaceFile(const std::string& path, const std::string& contents) override;
  bool replaceFileUnlessLink(const std::string& path, const std::vector<std::string_view>& pieces) override;
  void removeFile(const std::string& path) override;
  std::vector<std::string> listDirectory(const std::string& path) override;
  // Told by the type the listing gives, without a stat per name where it gives one.
  std::vector<std::string> listRegularFiles(const std::string& path) override;
  // A file that writeFileAtomically, writePiecesAtomically or replaceFile left,
  // of a process no longer running.
  bool isStaleTemporaryFile(std::string_view name) override;

 protected:
  // One listing a folder, the types taken from it.
  void listFolder(const std::string& path, core::PackedStrings& files,
                  std::vector<std::string>& folders) override;

 private:
  enum class Over { kAnything, kAnythingButALink };
  // False when `over` refused what is at path.
  bool write(const std::string& path, const std::vector<std::string_view>& pieces, bool flush,
             Over over = Over::kAnything);
  // Writes through `fill`, which gives 0 or the errno of a failed write.
  bool write(const std::string& path, const std::function<int(int fd)>& fill, bool flush, Over over);
};

}  // namespace zephyl::platform
