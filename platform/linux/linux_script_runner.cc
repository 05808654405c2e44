#include "platform/linux/linux_script_runner.h"

#include "editor/script_error.h"

namespace zephyl::platform {

void LinuxScriptRunner::run(const std::string&, const std::string& taskLabel) {
  log_.warning() << "AppleScript and System Events scripting are unavailable on Linux; not running: "
                 << taskLabel;
  throw editor::ScriptError(editor::ScriptError::Code::kUnavailable);
}

}  // namespace zephyl::platform
