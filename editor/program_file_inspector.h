// The identity of the program file on disk, so that the keyboard monitor notices
// when an update or reinstall replaced the executable it was started from.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace zephyl::editor {

struct FileIdentity {
  uint64_t device = 0;
  uint64_t inode = 0;
  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

class ProgramFileInspector {
 public:
  virtual ~ProgramFileInspector() = default;

  // The path of the running program's file.
  virtual std::string launchExecutablePath() = 0;

  // Device and inode of the file at `path`, or nullopt when it cannot be read. Any thread.
  virtual std::optional<FileIdentity> fileIdentity(const std::string& path) = 0;
};

}  // namespace zephyl::editor
