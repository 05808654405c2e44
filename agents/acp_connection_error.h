// ACPConnectionError: why a conversation with an external agent could not go on.
#pragma once

#include <string>
#include <string_view>

#include "core/error.h"

namespace zephyl::agents {

class ACPConnectionError : public core::Error {
 public:
  enum class Code {
    kNotRunning,      // closed, or never started, when a request or write was tried
    kProcessExited,   // the agent exited, or the connection was stopped
    kInvalidMessage,  // a reply lacked the shape its caller needed
  };

  explicit ACPConnectionError(Code code) : Error(std::string(text(code))), code_(code) {}

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kNotRunning:
      case Code::kProcessExited:
        return "The Antigravity agent stopped unexpectedly.";
      case Code::kInvalidMessage:
        return "The Antigravity agent sent an invalid response.";
    }
    return {};
  }

  Code code() const { return code_; }

 private:
  Code code_;
};

}  // namespace zephyl::agents
