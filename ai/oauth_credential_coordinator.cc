#include "ai/oauth_credential_coordinator.h"

#include "ai/oauth_encoding.h"
#include "ai/oauth_error.h"
#include "core/logger.h"

namespace zephyl::ai {
namespace {

constexpr core::Logger kLog("OAuthCredentialCoordinator");

// The refresh failures after which only a new sign-in helps.
bool isPermanentRefreshFailure(const std::string& code) {
  return code == "refresh_token_expired" || code == "refresh_token_reused" ||
         code == "refresh_token_invalidated" || code == "invalid_grant";
}

OAuthAccessToken accessOf(const OAuthTokens& tokens) { return {tokens.accessToken, tokens.accountID}; }

}  // namespace

OAuthCredentialCoordinator::OAuthCredentialCoordinator(AICredentialStore& store, OAuthTokenClient& client,
                                                       core::Clock& clock, OAuthRefreshSettings settings)
    : store_(store), client_(client), clock_(clock), settings_(std::move(settings)) {}

OAuthTokens OAuthCredentialCoordinator::storedTokens() {
  const auto text = store_.secret(settings_.secretName);
  if (!text) throw OAuthError(OAuthError::Code::kNotSignedIn, "Sign in with: " + settings_.signInCommand);
  auto tokens = parseOAuthTokens(*text);
  if (!tokens) throw OAuthError(OAuthError::Code::kSignInAgain, "Run: " + settings_.signInCommand);
  return *tokens;
}

OAuthAccessToken OAuthCredentialCoordinator::accessToken(std::stop_token stop) {
  std::lock_guard lock(refreshMutex_);
  const OAuthTokens tokens = storedTokens();
  if (!needsRefresh(tokens, clock_.now())) return accessOf(tokens);
  kLog.info() << "Access token expires soon; refreshing";
  return refreshAndSave(tokens, stop);
}

OAuthAccessToken OAuthCredentialCoordinator::refreshAfterUnauthorized(std::string_view rejected,
                                                                      std::stop_token stop) {
  std::lock_guard lock(refreshMutex_);
  const OAuthTokens tokens = storedTokens();
  if (tokens.accessToken != rejected) return accessOf(tokens);  // refreshed meanwhile
  kLog.info() << "Service answered 401; refreshing the access token once";
  return refreshAndSave(tokens, stop);
}

OAuthAccessToken OAuthCredentialCoordinator::refreshAndSave(const OAuthTokens& tokens, std::stop_token stop) {
  if (tokens.refreshToken.empty())
    throw OAuthError(OAuthError::Code::kSignInAgain, "Run: " + settings_.signInCommand);
  const std::string& tokenURL = tokens.tokenURL.empty() ? settings_.tokenURL : tokens.tokenURL;
  const std::string& clientID = tokens.clientID.empty() ? settings_.clientID : tokens.clientID;
  if (tokenURL.empty())
    throw OAuthError(OAuthError::Code::kEndpointsUnknown, "Run: " + settings_.signInCommand);
  std::string body, contentType;
  if (settings_.jsonRefreshBody) {
    core::JSONValue request(core::JSONValue::Object{});
    request.set("client_id", clientID);
    request.set("grant_type", "refresh_token");
    request.set("refresh_token", tokens.refreshToken);
    body = request.serialized();
    contentType = "application/json";
  } else {
    body = formEncode(
        {{"grant_type", "refresh_token"}, {"refresh_token", tokens.refreshToken}, {"client_id", clientID}});
    contentType = "application/x-www-form-urlencoded";
  }
  const OAuthReply reply = client_.post(tokenURL, contentType, body, stop);
  if (reply.status < 200 || reply.status >= 300) {
    const std::string code = oauthErrorCode(reply.body);
    kLog.warning() << "Refresh refused: HTTP " << reply.status << " " << code;
    if (isPermanentRefreshFailure(code)) {
      throw OAuthError(OAuthError::Code::kSignInAgain, "Run: " + settings_.signInCommand, code);
    }
    throw OAuthError(OAuthError::Code::kRequestRefused, "(HTTP " + std::to_string(reply.status) + ")", code);
  }
  const OAuthTokens refreshed =
      tokensFromResponse(reply.body, clock_.now(), &tokens, /*requireIDToken=*/false);
  // The old refresh token may already be spent: keep the new one before anything else can fail.
  store_.setSecret(settings_.secretName, serializeOAuthTokens(refreshed));
  return accessOf(refreshed);
}

}  // namespace zephyl::ai
