#include "ai/oauth_authorization_code_flow.h"

#include "ai/ai_service_endpoint.h"
#include "ai/oauth_encoding.h"
#include "ai/oauth_error.h"
#include "core/logger.h"

namespace zephyl::ai {
namespace {

constexpr core::Logger kLog("OAuthAuthorizationCodeFlow");

}  // namespace

std::string oauthRedirectURI(int port) {
  return "http://localhost:" + std::to_string(port) + std::string(kOAuthCallbackPath);
}

std::string authorizationRequestURL(const AuthorizationCodeEndpoints& endpoints, std::string_view redirectURI,
                                    const PKCEChallenge& pkce, std::string_view state) {
  return endpoints.authorizeURL() + "?" +
         formEncode({{"response_type", "code"},
                     {"client_id", endpoints.clientID},
                     {"redirect_uri", std::string(redirectURI)},
                     {"scope", endpoints.scope},
                     {"code_challenge", pkce.challenge},
                     {"code_challenge_method", "S256"},
                     {"state", std::string(state)}});
}

std::string authorizationCodeFromCallback(std::string_view query, std::string_view expectedState) {
  const auto parameters = parseQuery(query);
  const auto state = parameters.find("state");
  if (state == parameters.end() || state->second != expectedState)
    throw OAuthError(OAuthError::Code::kStateMismatch);
  if (const auto error = parameters.find("error"); error != parameters.end()) {
    throw OAuthError(OAuthError::Code::kAccessDenied, "", error->second);
  }
  const auto code = parameters.find("code");
  if (code == parameters.end() || code->second.empty()) {
    throw OAuthError(OAuthError::Code::kInvalidResponse, "(the callback carries no code)");
  }
  return code->second;
}

OAuthTokens signInWithAuthorizationCode(const AuthorizationCodeEndpoints& endpoints, OAuthTokenClient& client,
                                        OAuthCallbackReceiver& receiver, SecureRandom& random,
                                        core::Clock& clock,
                                        const std::function<void(const std::string&)>& showAuthorizationURL,
                                        std::chrono::milliseconds timeout, std::stop_token stop) {
  // Refuse a plain-http issuer before the user signs in, not after.
  if (checkCredentialURL(endpoints.tokenURL()) != AIServiceURLCheck::kAllowed) {
    throw OAuthError(OAuthError::Code::kInsecureEndpoint, "(" + endpoints.issuer + ")");
  }
  const PKCEChallenge pkce = makePKCEChallenge(random);
  const std::string state = makeOAuthState(random);
  const std::string redirectURI = oauthRedirectURI(receiver.port());
  showAuthorizationURL(authorizationRequestURL(endpoints, redirectURI, pkce, state));

  const auto query = receiver.awaitCallback(kOAuthCallbackPath, timeout, stop);
  if (!query) throw OAuthError(OAuthError::Code::kTimedOut);
  const std::string code = authorizationCodeFromCallback(*query, state);

  const OAuthReply reply = client.post(endpoints.tokenURL(), "application/x-www-form-urlencoded",
                                       formEncode({{"grant_type", "authorization_code"},
                                                   {"code", code},
                                                   {"redirect_uri", redirectURI},
                                                   {"client_id", endpoints.clientID},
                                                   {"code_verifier", pkce.verifier}}),
                                       stop);
  if (reply.status < 200 || reply.status >= 300) {
    const std::string serviceCode = oauthErrorCode(reply.body);
    kLog.warning() << "Code exchange refused: HTTP " << reply.status << " " << serviceCode;
    throw OAuthError(OAuthError::Code::kRequestRefused, "(HTTP " + std::to_string(reply.status) + ")",
                     serviceCode);
  }
  OAuthTokens tokens = tokensFromResponse(reply.body, clock.now(), nullptr, /*requireIDToken=*/true);
  tokens.tokenURL = endpoints.tokenURL();
  tokens.clientID = endpoints.clientID;
  if (!jwtPayload(tokens.idToken))
    throw OAuthError(OAuthError::Code::kInvalidResponse, "(the id token is not a JWT)");
  if (tokens.accountID.empty()) {
    throw OAuthError(OAuthError::Code::kInvalidResponse, "(the id token names no ChatGPT account)");
  }
  kLog.info() << "Signed in; account " << core::Private(tokens.accountID);
  return tokens;
}

}  // namespace zephyl::ai
