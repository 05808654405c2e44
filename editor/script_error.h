// Why a script given to the platform's script runner did not run to its end.
// The script's own error message, when it raised one, travels beside the case.
#pragma once

#include <string>
#include <string_view>

#include "core/error.h"

namespace zephyl::editor {

class ScriptError : public core::Error {
 public:
  enum class Code { kCouldNotCreate, kExecutionFailed, kUnavailable };

  explicit ScriptError(Code code, std::string scriptMessage = {})
      : core::Error(std::string(text(code))), code_(code), scriptMessage_(std::move(scriptMessage)) {}

  Code code() const { return code_; }
  // The message the script raised (its `error "..."` text), or empty.
  const std::string& scriptMessage() const { return scriptMessage_; }

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kCouldNotCreate:
        return "Could not create the script";
      case Code::kExecutionFailed:
        return "The script failed";
      case Code::kUnavailable:
        return "AppleScript and System Events scripting are unavailable on this system";
    }
    return "";
  }

 private:
  Code code_;
  std::string scriptMessage_;
};

}  // namespace zephyl::editor
