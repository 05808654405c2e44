#include "ai/oauth_device_flow.h"

#include "ai/oauth_encoding.h"
#include "core/logger.h"

namespace zephyl::ai {
namespace {

constexpr core::Logger kLog("OAuthDeviceFlow");
constexpr std::string_view kFormType = "application/x-www-form-urlencoded";

std::string text(const core::JSONValue& body, std::string_view key) {
  const auto* value = body.find(key);
  return value && value->string() ? *value->string() : std::string();
}

}  // namespace

DeviceAuthorization parseDeviceAuthorization(const core::JSONValue& body) {
  DeviceAuthorization authorization;
  authorization.deviceCode = text(body, "device_code");
  authorization.userCode = text(body, "user_code");
  authorization.verificationURI = text(body, "verification_uri");
  authorization.verificationURIComplete = text(body, "verification_uri_complete");
  const auto* expiresIn = body.find("expires_in");
  if (authorization.deviceCode.empty() || authorization.userCode.empty() ||
      authorization.verificationURI.empty() || !expiresIn || !expiresIn->integer() ||
      *expiresIn->integer() <= 0) {
    throw OAuthError(OAuthError::Code::kInvalidResponse, "(an incomplete device code answer)");
  }
  authorization.expiresIn = std::chrono::seconds(*expiresIn->integer());
  if (const auto* interval = body.find("interval");
      interval && interval->integer() && *interval->integer() > 0) {
    authorization.interval = std::chrono::seconds(*interval->integer());
  }
  return authorization;
}

DevicePollOutcome classifyDevicePoll(const OAuthReply& reply) {
  if (reply.status >= 200 && reply.status < 300) return DevicePollOutcome::kApproved;
  const std::string code = oauthErrorCode(reply.body);
  if (code == "authorization_pending") return DevicePollOutcome::kPending;
  if (code == "slow_down") return DevicePollOutcome::kSlowDown;
  if (code == "access_denied") return DevicePollOutcome::kDenied;
  if (code == "expired_token") return DevicePollOutcome::kExpired;
  return DevicePollOutcome::kRefused;
}

DevicePollDecision decideDevicePoll(DevicePollOutcome outcome, std::chrono::seconds interval) {
  switch (outcome) {
    case DevicePollOutcome::kApproved:
      return {false, interval, std::nullopt};
    case DevicePollOutcome::kPending:
      return {true, interval, std::nullopt};
    case DevicePollOutcome::kSlowDown:
      return {true, interval + std::chrono::seconds(5), std::nullopt};
    case DevicePollOutcome::kDenied:
      return {false, interval, OAuthError::Code::kAccessDenied};
    case DevicePollOutcome::kExpired:
      return {false, interval, OAuthError::Code::kCodeExpired};
    case DevicePollOutcome::kRefused:
      return {false, interval, OAuthError::Code::kRequestRefused};
  }
  return {false, interval, OAuthError::Code::kRequestRefused};
}

DeviceAuthorization requestDeviceAuthorization(OAuthTokenClient& client, const DeviceFlowEndpoints& endpoints,
                                               std::stop_token stop) {
  std::vector<std::pair<std::string, std::string>> fields = {{"client_id", endpoints.clientID}};
  if (!endpoints.scope.empty()) fields.emplace_back("scope", endpoints.scope);
  const OAuthReply reply =
      client.post(endpoints.deviceAuthorizationURL, std::string(kFormType), formEncode(fields), stop);
  if (reply.status < 200 || reply.status >= 300) {
    throw OAuthError(OAuthError::Code::kRequestRefused, "(HTTP " + std::to_string(reply.status) + ")",
                     oauthErrorCode(reply.body));
  }
  return parseDeviceAuthorization(reply.body);
}

OAuthTokens pollForDeviceTokens(OAuthTokenClient& client, MonotonicClock& clock, core::Clock& wallClock,
                                const DeviceFlowEndpoints& endpoints,
                                const DeviceAuthorization& authorization, std::stop_token stop) {
  const auto deadline = clock.now() + authorization.expiresIn;
  const std::string body = formEncode({{"grant_type", "urn:ietf:params:oauth:grant-type:device_code"},
                                       {"device_code", authorization.deviceCode},
                                       {"client_id", endpoints.clientID}});
  std::chrono::seconds interval = authorization.interval;
  for (;;) {
    if (clock.now() + interval >= deadline) throw OAuthError(OAuthError::Code::kCodeExpired);
    clock.sleepFor(interval, stop);
    const OAuthReply reply = client.post(endpoints.tokenURL, std::string(kFormType), body, stop);
    const DevicePollOutcome outcome = classifyDevicePoll(reply);
    const DevicePollDecision decision = decideDevicePoll(outcome, interval);
    if (decision.failure) {
      const std::string code = oauthErrorCode(reply.body);
      kLog.warning() << "Device sign-in ended: HTTP " << reply.status << " " << code;
      throw OAuthError(*decision.failure, "", code);
    }
    if (!decision.pollAgain) {
      OAuthTokens tokens = tokensFromResponse(reply.body, wallClock.now(), nullptr, /*requireIDToken=*/false);
      tokens.tokenURL = endpoints.tokenURL;
      tokens.clientID = endpoints.clientID;
      return tokens;
    }
    if (decision.interval != interval)
      kLog.info() << "Issuer asked to slow down; polling every " << decision.interval.count() << " s";
    interval = decision.interval;
  }
}

}  // namespace zephyl::ai
