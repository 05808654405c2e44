// Why the accessibility interface could not be read.
#pragma once

#include <string>
#include <string_view>

#include "core/error.h"

namespace zephyl::editor {

class AccessibilityError : public core::Error {
 public:
  enum class Code { kUnavailable, kNotTrusted, kReadFailed };

  explicit AccessibilityError(Code code) : core::Error(std::string(text(code))), code_(code) {}

  Code code() const { return code_; }

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kUnavailable:
        return "The accessibility interface is unavailable on this system";
      case Code::kNotTrusted:
        return "Accessibility is required for Apple Notes and keyboard shortcuts";
      case Code::kReadFailed:
        return "Could not read the Apple Notes menus";
    }
    return "";
  }

 private:
  Code code_;
};

}  // namespace zephyl::editor
