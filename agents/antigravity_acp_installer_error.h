// The error of installing or updating the Antigravity agent. Each case has one
// fixed text for the user; what exactly went wrong goes to the log.
#pragma once

#include <string>
#include <string_view>

#include "core/error.h"

namespace zephyl::agents {

class AntigravityACPInstallerError : public core::Error {
 public:
  enum class Code {
    kUnsupportedPlatform,
    kAgentNotListed,
    kUntrustedArchiveURL,
    kDownloadFailed,
    kExtractionFailed,
    kInvalidCommand,
    kUntrustedSignature,
  };

  explicit AntigravityACPInstallerError(Code code) : Error(std::string(text(code))), code_(code) {}

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kUnsupportedPlatform:
        return "Antigravity is not available for this Mac.";
      case Code::kAgentNotListed:
        return "Antigravity is not listed in the ACP registry right now.";
      case Code::kUntrustedArchiveURL:
        return "The Antigravity download location is not trusted.";
      case Code::kDownloadFailed:
        return "Could not download Antigravity. Check your connection and try again.";
      case Code::kExtractionFailed:
      case Code::kInvalidCommand:
        return "The Antigravity download could not be installed.";
      case Code::kUntrustedSignature:
        return "The Antigravity download is not signed by Google.";
    }
    return {};
  }

  Code code() const { return code_; }

 private:
  Code code_;
};

}  // namespace zephyl::agents
