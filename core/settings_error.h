// The error of the settings store.
#pragma once

#include <string>
#include <string_view>

#include "core/error.h"

namespace zephyl::core {

class SettingsError : public Error {
 public:
  enum class Code { kMalformedFile, kUnreadableFile, kWriteFailed };

  // `path` names the settings file; `detail` is the parser's or the system's reason.
  SettingsError(Code code, std::string path, std::string detail)
      : Error(std::string(text(code)) + ": " + path + (detail.empty() ? "" : " (" + detail + ")")),
        code_(code) {}

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kMalformedFile:
        return "The settings file is not valid JSON; fix or remove it, nothing was changed";
      case Code::kUnreadableFile:
        return "The settings file cannot be read";
      case Code::kWriteFailed:
        return "The settings could not be saved";
    }
    return {};
  }

  Code code() const { return code_; }

 private:
  Code code_;
};

}  // namespace zephyl::core
