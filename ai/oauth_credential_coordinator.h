// OAuthCredentialCoordinator: hands the Responses adapters of the account
// providers (ChatGPT, xAI) a valid access token. It refreshes a token that is
// about to expire, and refreshes once more when the service answers 401; a
// rotated refresh token is saved before the new access token is used, since
// the old one no longer works. Tokens are read from the credential store each
// time, so a refresh by another Zephyl process is seen.
#pragma once

#include <mutex>
#include <stop_token>
#include <string>
#include <string_view>

#include "ai/ai_credential_store.h"
#include "ai/oauth_token_client.h"
#include "ai/oauth_tokens.h"
#include "core/clock.h"

namespace zephyl::ai {

struct OAuthRefreshSettings {
  std::string secretName;  // where the OAuthTokens record is stored
  std::string tokenURL;    // the token endpoint that refreshes
  std::string clientID;
  bool jsonRefreshBody = false;  // the ChatGPT issuer takes JSON; standard issuers a form
  std::string signInCommand;     // shown after "sign in again", e.g. "zephyl auth login codex"
};

struct OAuthAccessToken {
  std::string token;
  std::string accountID;  // empty where the provider has none
};

class OAuthCredentialCoordinator {
 public:
  // All three must outlive the coordinator.
  OAuthCredentialCoordinator(AICredentialStore& store, OAuthTokenClient& client, core::Clock& clock,
                             OAuthRefreshSettings settings);

  // The stored access token, refreshed first when it expires within five
  // minutes. Throws OAuthError: kNotSignedIn without stored tokens, kSignInAgain
  // when the issuer refuses the refresh token for good (expired, reused,
  // invalidated), kRequestRefused for other refusals; HTTPTransportError and
  // core::CancellationError pass through. Safe from any thread; refreshes are
  // one at a time.
  OAuthAccessToken accessToken(std::stop_token stop);

  // After the service answered 401 to `rejected`: a refreshed token, or the
  // stored one when another caller has refreshed since. Call it once per
  // request; a second 401 is the request's failure. Throws as accessToken.
  OAuthAccessToken refreshAfterUnauthorized(std::string_view rejected, std::stop_token stop);

 private:
  OAuthTokens storedTokens();
  OAuthAccessToken refreshAndSave(const OAuthTokens& tokens, std::stop_token stop);

  AICredentialStore& store_;
  OAuthTokenClient& client_;
  core::Clock& clock_;
  OAuthRefreshSettings settings_;
  std::mutex refreshMutex_;  // one refresh at a time: a second would present a spent refresh token
};

}  // namespace zephyl::ai
