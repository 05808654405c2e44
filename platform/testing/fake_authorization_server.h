// A fake OAuth issuer on 127.0.0.1 for sign-in tests: /oauth/authorize sends
// the browser back to its redirect_uri with a code (302), /oauth/token checks
// the code and the PKCE verifier before it answers with the scripted tokens.
// A test "browser" follows the printed address like a person would.
#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "ai/http_transport.h"
#include "platform/testing/loopback_http_server.h"

namespace zephyl::platform::testing {

class FakeAuthorizationServer {
 public:
  // `tokenReply` is the JSON body sent to a valid code exchange.
  explicit FakeAuthorizationServer(std::string tokenReply);

  std::string issuer() const { return server_.url(""); }
  // The body answered to a code exchange whose code or verifier is wrong.
  static constexpr const char* kInvalidGrant = R"({"error":"invalid_grant"})";
  // Answers later valid code exchanges with `status` and `body` instead.
  void setTokenReply(int status, std::string body);
  // The form of the last /oauth/token request.
  std::string lastTokenRequest() const;
  int tokenRequests() const;

 private:
  void handle(const LoopbackRequest& request, LoopbackConnection& connection);

  mutable std::mutex mutex_;  // guards the fields below
  std::string tokenReply_;
  int tokenStatus_ = 200;
  std::string challenge_;  // from the authorize request
  std::string lastTokenRequest_;
  int tokenRequests_ = 0;
  LoopbackHTTPServer server_;  // last: stops before the fields go
};

// What a browser does with an authorize address: GETs it, follows the
// redirect to the loopback callback (with `stateOverride` in place of the
// issuer's state, when given) and returns the callback's status.
long followAuthorizationInBrowser(ai::HTTPTransport& transport, const std::string& authorizeURL,
                                  const std::optional<std::string>& stateOverride = std::nullopt);

}  // namespace zephyl::platform::testing
