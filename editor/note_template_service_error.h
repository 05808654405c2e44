// Why the templates could not be read or installed. A script's own message
// travels beside the case and follows "Apple Notes returned an error: ".
#pragma once

#include <string>
#include <string_view>

#include "core/error.h"

namespace zephyl::editor {

class NoteTemplateServiceError : public core::Error {
 public:
  enum class Code { kAppleScriptError, kDatabaseUnavailable, kAppleScriptUnavailable };

  explicit NoteTemplateServiceError(Code code, std::string scriptMessage = {})
      : core::Error(code == Code::kAppleScriptError ? std::string(text(code)) + scriptMessage
                                                    : std::string(text(code))),
        code_(code),
        scriptMessage_(std::move(scriptMessage)) {}

  Code code() const { return code_; }
  const std::string& scriptMessage() const { return scriptMessage_; }

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kAppleScriptError:
        return "Apple Notes returned an error: ";
      case Code::kDatabaseUnavailable:
        return "Grant Apple Notes database access in Settings to use templates.";
      case Code::kAppleScriptUnavailable:
        return "AppleScript unavailable";
    }
    return "";
  }

 private:
  Code code_;
  std::string scriptMessage_;
};

}  // namespace zephyl::editor
