// OAuthError: the failures of account sign-in and token refresh. The texts
// never carry a token; the service's own error code travels beside the case.
#pragma once

#include <string>
#include <string_view>

#include "core/error.h"

namespace zephyl::ai {

class OAuthError : public core::Error {
 public:
  enum class Code {
    kNotSignedIn,
    kSignInAgain,
    kInvalidResponse,
    kRequestRefused,
    kStateMismatch,
    kAccessDenied,
    kTimedOut,
    kCallbackPortBusy,
    kCodeExpired,
    kInsecureEndpoint,
    kEndpointsUnknown,
  };

  // `detail` follows the fixed text (a command to run, a status); `serviceCode`
  // is the OAuth "error" value the service sent, if any.
  OAuthError(Code code, const std::string& detail = {}, std::string serviceCode = {})
      : Error(std::string(text(code)) + (detail.empty() ? "" : " " + detail)),
        code_(code),
        serviceCode_(std::move(serviceCode)) {}

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kNotSignedIn:
        return "Not signed in.";
      case Code::kSignInAgain:
        return "The account sign-in has expired or was revoked; sign in again.";
      case Code::kInvalidResponse:
        return "The sign-in service sent a response that could not be read.";
      case Code::kRequestRefused:
        return "The sign-in service refused the request.";
      case Code::kStateMismatch:
        return "The sign-in answer does not belong to this sign-in attempt; nothing was stored.";
      case Code::kAccessDenied:
        return "The sign-in was denied.";
      case Code::kTimedOut:
        return "No sign-in arrived in time (was the browser closed?); run the command again.";
      case Code::kCallbackPortBusy:
        return "The port for the sign-in callback is in use by another program.";
      case Code::kCodeExpired:
        return "The sign-in code expired before it was approved; run the command again.";
      case Code::kInsecureEndpoint:
        return "Sign-in requests are only sent over https (or plain http to this computer).";
      case Code::kEndpointsUnknown:
        return "The sign-in endpoints for this account are not known.";
    }
    return {};
  }

  Code code() const { return code_; }
  const std::string& serviceCode() const { return serviceCode_; }

 private:
  Code code_;
  std::string serviceCode_;
};

}  // namespace zephyl::ai
