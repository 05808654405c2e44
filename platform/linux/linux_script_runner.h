// Linux has neither AppleScript nor System Events: every script is refused with
// ScriptError (unavailable), and the log names the task that wanted to run.
#pragma once

#include "editor/script_runner.h"

namespace zephyl::platform {

class LinuxScriptRunner : public editor::ScriptRunner {
 public:
  // Throws editor::ScriptError (unavailable).
  void run(const std::string& source, const std::string& taskLabel) override;
};

}  // namespace zephyl::platform
