// The OAuth device authorization grant (RFC 8628), as the xAI account signs
// in: the user is shown a code and an address, and Zephyl polls the token
// endpoint at the interval the issuer asks for until the user approves,
// denies, or the code expires. The state machine is pure; the polling loop
// takes its clock and HTTP client as parameters.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>

#include "ai/monotonic_clock.h"
#include "ai/oauth_error.h"
#include "ai/oauth_token_client.h"
#include "ai/oauth_tokens.h"
#include "core/clock.h"

namespace zephyl::ai {

struct DeviceFlowEndpoints {
  std::string deviceAuthorizationURL;
  std::string tokenURL;
  std::string clientID;
  std::string scope;  // empty: none sent
};

struct DeviceAuthorization {
  std::string deviceCode;
  std::string userCode;
  std::string verificationURI;
  std::string verificationURIComplete;  // empty when the issuer sends none
  std::chrono::seconds expiresIn{0};
  std::chrono::seconds interval{5};
};

// Reads the device authorization answer; throws OAuthError(kInvalidResponse)
// when a required member is missing.
DeviceAuthorization parseDeviceAuthorization(const core::JSONValue& body);

// What one poll of the token endpoint says.
enum class DevicePollOutcome { kApproved, kPending, kSlowDown, kDenied, kExpired, kRefused };
DevicePollOutcome classifyDevicePoll(const OAuthReply& reply);

// The next step after a poll: wait `interval` and poll again, or stop with
// `failure` (nullopt and no wait when approved). slow_down adds five seconds
// for the rest of the flow.
struct DevicePollDecision {
  bool pollAgain = false;
  std::chrono::seconds interval{0};
  std::optional<OAuthError::Code> failure;
};
DevicePollDecision decideDevicePoll(DevicePollOutcome outcome, std::chrono::seconds interval);

// Asks for a device code. Throws OAuthError and HTTPTransportError.
DeviceAuthorization requestDeviceAuthorization(OAuthTokenClient& client, const DeviceFlowEndpoints& endpoints,
                                               std::stop_token stop);

// Polls until the user approves (the tokens), denies (kAccessDenied), or the
// code expires (kCodeExpired); `clock` paces the polls and `wallClock` dates
// the tokens. Throws core::CancellationError once `stop` is requested.
OAuthTokens pollForDeviceTokens(OAuthTokenClient& client, MonotonicClock& clock, core::Clock& wallClock,
                                const DeviceFlowEndpoints& endpoints,
                                const DeviceAuthorization& authorization, std::stop_token stop);

}  // namespace zephyl::ai
