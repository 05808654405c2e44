#include "platform/linux/proc_program_file_inspector.h"

#include <sys/stat.h>

#include <filesystem>
#include <system_error>

namespace zephyl::platform {

std::string ProcProgramFileInspector::launchExecutablePath() {
  std::error_code error;
  const auto path = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::string() : path.string();
}

std::optional<editor::FileIdentity> ProcProgramFileInspector::fileIdentity(const std::string& path) {
  struct stat info {};
  if (path.empty() || ::stat(path.c_str(), &info) != 0) return std::nullopt;
  return editor::FileIdentity{static_cast<uint64_t>(info.st_dev), static_cast<uint64_t>(info.st_ino)};
}

}  // namespace zephyl::platform
