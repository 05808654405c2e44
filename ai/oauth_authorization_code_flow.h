// The OAuth authorization code grant with PKCE and a loopback callback, as the
// ChatGPT account signs in: the browser opens the issuer's authorize address,
// the issuer sends it back to a small server on this computer with a code,
// and the code (with the PKCE verifier) is exchanged for tokens.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "ai/oauth_pkce.h"
#include "ai/oauth_token_client.h"
#include "ai/oauth_tokens.h"
#include "core/clock.h"

namespace zephyl::ai {

struct AuthorizationCodeEndpoints {
  std::string issuer;  // e.g. "https://auth.openai.com"; the paths below hang off it
  std::string clientID;
  std::string scope = "openid profile email offline_access";
  std::vector<int> callbackPorts;  // tried in order; 0 picks any free port

  std::string authorizeURL() const { return issuer + "/oauth/authorize"; }
  std::string tokenURL() const { return issuer + "/oauth/token"; }
};

// The loopback server that receives the browser's redirect.
class OAuthCallbackReceiver {
 public:
  virtual ~OAuthCallbackReceiver() = default;
  virtual int port() const = 0;
  // Waits for the browser's GET of `path`, answers it with a page that sends
  // the user back to Zephyl, and returns its query string; nullopt when
  // `timeout` passes first. Other paths are answered 404 and ignored. Throws
  // core::CancellationError once `stop` is requested.
  virtual std::optional<std::string> awaitCallback(std::string_view path, std::chrono::milliseconds timeout,
                                                   std::stop_token stop) = 0;
};

inline constexpr std::string_view kOAuthCallbackPath = "/auth/callback";

std::string oauthRedirectURI(int port);
std::string authorizationRequestURL(const AuthorizationCodeEndpoints& endpoints, std::string_view redirectURI,
                                    const PKCEChallenge& pkce, std::string_view state);

// The code of a callback query. Throws OAuthError: kStateMismatch when the
// state is not this attempt's, kAccessDenied when the issuer reports an error,
// kInvalidResponse without a code.
std::string authorizationCodeFromCallback(std::string_view query, std::string_view expectedState);

// The whole sign-in: `showAuthorizationURL` is given the address to open (to
// print it and start a browser), then the callback is awaited for at most
// `timeout` (kTimedOut after), the state checked and the code exchanged. The
// tokens carry the id token's ChatGPT account id. Throws OAuthError,
// HTTPTransportError and core::CancellationError.
OAuthTokens signInWithAuthorizationCode(const AuthorizationCodeEndpoints& endpoints, OAuthTokenClient& client,
                                        OAuthCallbackReceiver& receiver, SecureRandom& random,
                                        core::Clock& clock,
                                        const std::function<void(const std::string&)>& showAuthorizationURL,
                                        std::chrono::milliseconds timeout, std::stop_token stop);

}  // namespace zephyl::ai
