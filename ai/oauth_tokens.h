// OAuthTokens: what an account sign-in leaves in the credential store, and the
// pure decisions about them: reading a token response, the account id in the
// id token, and when an access token must be refreshed. The whole record is
// one secret, because credential-store attributes are not secret.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "core/apple_time.h"
#include "core/json_value.h"

namespace zephyl::ai {

struct OAuthTokens {
  std::string accessToken;
  std::string refreshToken;  // empty: the account cannot be refreshed
  std::string idToken;       // empty when the issuer sent none
  std::optional<core::TimePoint> expiresAt;
  std::string accountID;  // the ChatGPT account id; empty where there is none
  // Where these tokens are refreshed: the issuer that signed in, which may be
  // one given on the command line. Empty: the settings decide.
  std::string tokenURL;
  std::string clientID;

  bool operator==(const OAuthTokens&) const = default;
};

std::string serializeOAuthTokens(const OAuthTokens& tokens);
// Nullopt for text that is not a stored token record.
std::optional<OAuthTokens> parseOAuthTokens(std::string_view text);

// The payload of a JWT ("header.payload.signature", base64url) as JSON, or
// nullopt when the text is not a JWT. The signature is not checked: the token
// came straight from the issuer over TLS and is only read for its claims.
std::optional<core::JSONValue> jwtPayload(std::string_view token);
// The "chatgpt_account_id" member of the claim "https://api.openai.com/auth".
std::optional<std::string> chatGPTAccountID(std::string_view idToken);

// Reads a token endpoint's JSON answer at `now`. `previous` supplies what a
// refresh answer may leave out (the refresh token when it does not rotate, the
// id token and account); a new id token's ChatGPT account id replaces the
// account. The expiry is `expires_in`, else the access token's
// own "exp" claim. Throws OAuthError(kInvalidResponse) without an access token,
// or without an id token when `requireIDToken`.
OAuthTokens tokensFromResponse(const core::JSONValue& body, core::TimePoint now, const OAuthTokens* previous,
                               bool requireIDToken);

// True when the access token expires within `margin` of `now`; tokens without
// a known expiry are used until the service answers 401.
bool needsRefresh(const OAuthTokens& tokens, core::TimePoint now,
                  std::chrono::seconds margin = std::chrono::minutes(5));

}  // namespace zephyl::ai
