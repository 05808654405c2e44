#include "platform/linux/linux_script_runner.h"

#include "core/logger.h"
#include "editor/script_error.h"

namespace zephyl::platform {
namespace {

constexpr core::Logger kLog("ScriptRunner");

}  // namespace

void LinuxScriptRunner::run(const std::string&, const std::string& taskLabel) {
  kLog.warning() << "AppleScript and System Events scripting are unavailable on Linux; not running: "
                 << taskLabel;
  throw editor::ScriptError(editor::ScriptError::Code::kUnavailable);
}

}  // namespace zephyl::platform
