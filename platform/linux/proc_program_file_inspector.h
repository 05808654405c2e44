// The running program's file through /proc/self/exe, and file identities
// through stat(2).
#pragma once

#include "editor/program_file_inspector.h"

namespace zephyl::platform {

class ProcProgramFileInspector : public editor::ProgramFileInspector {
 public:
  // The resolved path of /proc/self/exe, or "" when it cannot be read.
  std::string launchExecutablePath() override;
  std::optional<editor::FileIdentity> fileIdentity(const std::string& path) override;
};

}  // namespace zephyl::platform
