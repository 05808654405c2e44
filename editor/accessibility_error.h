// Why the accessibility interface could not be read.
#pragma once

#include <string>
#include <string_view>

#include "core/error.h"

namespace zephyl::editor {

class AccessibilityError : public core::Error {
 public:
  enum class Code { unavailable, notTrusted, readFailed };

  explicit AccessibilityError(Code code) : core::Error(std::string(text(code))), code_(code) {}

  Code code() const { return code_; }

  static std::string_view text(Code code) {
    switch (code) {
      case Code::unavailable: return "The accessibility interface is unavailable on this system";
      case Code::notTrusted: return "Accessibility is required for Apple Notes and keyboard shortcuts";
      case Code::readFailed: return "Could not read the Apple Notes menus";
    }
    return "";
  }

 private:
  Code code_;
};

}  // namespace zephyl::editor
