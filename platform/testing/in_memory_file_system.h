// An in-memory core::FileSystem for tests, with switches to make reads or
// writes fail the way a full or unreadable disk would.
#pragma once

#include <map>
#include <mutex>
#include <set>
#include <string>

#include "core/file_system.h"

namespace zephyl::platform::testing {

class InMemoryFileSystem : public core::FileSystem {
 public:
  bool fileExists(const std::string& path) override;
  bool isDirectory(const std::string& path) override;
  std::optional<std::string> unsearchableFolderOnPath(const std::string& path) override;
  bool isSymbolicLink(const std::string& path) override;
  std::optional<std::string> readFile(const std::string& path) override;
  void writeFileAtomically(const std::string& path, const std::string& contents) override;
  void replaceFile(const std::string& path, const std::string& contents) override;
  void removeFile(const std::string& path) override;
  std::vector<std::string> listDirectory(const std::string& path) override;

  void addFile(const std::string& path, const std::string& contents);
  void addDirectory(const std::string& path);
  // Marks path as a symbolic link (to somewhere that does not matter here).
  void addSymbolicLink(const std::string& path);
  // Makes `folder` one without search permission (mode 0): nothing inside it
  // exists or reads, as for a process that is not root.
  void denySearch(const std::string& folder);
  std::optional<std::string> contents(const std::string& path) const;

  void setFailReads(bool fail) { failReads_ = fail; }
  void setFailWrites(bool fail) { failWrites_ = fail; }
  int writeCount() const { return writeCount_; }

 private:
  // The unsearchable folder that holds path, if any; mutex_ held.
  std::optional<std::string> unsearchableAncestorLocked(const std::string& path) const;

  mutable std::mutex mutex_;  // guards everything below
  std::map<std::string, std::string> files_;
  std::set<std::string> directories_;
  std::set<std::string> symbolicLinks_;
  std::set<std::string> unsearchable_;
  bool failReads_ = false;
  bool failWrites_ = false;
  int writeCount_ = 0;
};

}  // namespace zephyl::platform::testing
