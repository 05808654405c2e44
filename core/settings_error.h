// The error of the settings store.
#pragma once

#include <string>
#include <string_view>

#include "core/error.h"

namespace zephyl::core {

class SettingsError : public Error {
 public:
  enum class Code { kMalformedFile, kUnreadableFile, kWriteFailed, kWrongType };

  // `subject` names the settings file, or for kWrongType the key; `detail` is the
  // parser's or the system's reason, or the type the key must have.
  SettingsError(Code code, std::string subject, std::string detail)
      : Error(std::string(text(code)) + ": " + subject + (detail.empty() ? "" : " (" + detail + ")")),
        code_(code) {}

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kMalformedFile:
        return "The settings file is not valid JSON; fix or remove it, nothing was changed";
      case Code::kUnreadableFile:
        return "The settings file cannot be read";
      case Code::kWriteFailed:
        return "The settings could not be saved";
      case Code::kWrongType:
        return "A setting in the settings file has a value of the wrong type; fix or remove it";
    }
    return {};
  }

  Code code() const { return code_; }

 private:
  Code code_;
};

}  // namespace zephyl::core
