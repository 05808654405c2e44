// Errors of the Antigravity agent process and its turns: AntigravityACPError
// for the agent (launch, sign-in, its own errors, time-outs) and
// AntigravityACPServiceError for what a turn asks of it. Fixed texts; detail
// goes to the log.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/error.h"

namespace zephyl::agents {

class AntigravityACPError : public core::Error {
 public:
  enum class Code { kSignInFailed, kAgentError, kNotInstalled, kLaunchFailed, kNeedsSignIn, kTimedOut };

  // `detail`: the sign-in failure's text, or the agent's error message.
  explicit AntigravityACPError(Code code, std::string detail = {}, int64_t remoteCode = 0)
      : Error(text(code, detail)), code_(code), remoteCode_(remoteCode) {}

  static std::string text(Code code, const std::string& detail) {
    switch (code) {
      case Code::kSignInFailed:
        return "Antigravity sign-in failed: " + detail;
      case Code::kAgentError:
        return "Antigravity returned an error: " + detail;
      case Code::kNotInstalled:
        return "Antigravity is not installed. Install it in Settings → Providers.";
      case Code::kLaunchFailed:
        return "Could not start the Antigravity agent.";
      case Code::kNeedsSignIn:
        return "Antigravity needs sign-in. Sign in with Google in Settings → Providers.";
      case Code::kTimedOut:
        return "Antigravity stopped responding.";
    }
    return {};
  }

  Code code() const { return code_; }
  int64_t remoteCode() const { return remoteCode_; }

 private:
  Code code_;
  int64_t remoteCode_;
};

class AntigravityACPServiceError : public core::Error {
 public:
  enum class Code {
    kEmptyPrompt,
    kEmptyResponse,
    kRefused,
    kAttachmentTooLarge,
    kTotalAttachmentsTooLarge,
    kUnreadableAttachment,
  };

  explicit AntigravityACPServiceError(Code code) : Error(std::string(text(code))), code_(code) {}

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kEmptyPrompt:
        return "Ask a question first.";
      case Code::kEmptyResponse:
        return "Antigravity finished without returning an answer.";
      case Code::kRefused:
        return "Antigravity declined to answer this request.";
      case Code::kAttachmentTooLarge:
        return "Antigravity attachments must be 20 MiB or smaller. Remove or resize the file and try again.";
      case Code::kTotalAttachmentsTooLarge:
        return "Antigravity attachments must total 40 MiB or less. Remove some files and try again.";
      case Code::kUnreadableAttachment:
        return "Could not read an attachment. Remove or reattach the file and try again.";
    }
    return {};
  }

  Code code() const { return code_; }

 private:
  Code code_;
};

}  // namespace zephyl::agents
