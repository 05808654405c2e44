// core::FileSystem on POSIX files.
#pragma once

#include "core/file_system.h"

namespace zephyl::platform {

class PosixFileSystem : public core::FileSystem {
 public:
  bool fileExists(const std::string& path) override;
  bool isDirectory(const std::string& path) override;
  std::optional<std::string> readFile(const std::string& path) override;
  void writeFileAtomically(const std::string& path, const std::string& contents) override;
};

}  // namespace zephyl::platform
