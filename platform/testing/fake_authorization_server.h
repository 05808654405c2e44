// A fake OAuth issuer on 127.0.0.1 for sign-in tests: /oauth/authorize sends
// the browser back to its redirect_uri with a code (302), /oauth/token checks
// the code and the PKCE verifier before it answers with the scripted tokens.
// /oauth/token also takes refresh_token grants (JSON or form), and
// /oauth/device/code starts a device flow whose polls get scripted answers.
// A test "browser" follows the printed address like a person would.
#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

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

  struct Reply {
    int status;
    std::string body;
  };
  // A refresh_token grant that presents `refreshToken` gets `reply`; any
  // other refresh token gets kInvalidGrant.
  void acceptRefresh(std::string refreshToken, Reply reply);
  int refreshRequests() const;

  static constexpr const char* kUserCode = "WDJB-MJHT";
  // Device codes are issued with a one-second interval and `expiresIn`; the
  // polls for them get `polls` in order, the last one repeated.
  void scriptDevicePolls(std::vector<Reply> polls, int expiresIn = 60);
  // When each poll arrived.
  std::vector<std::chrono::steady_clock::time_point> pollTimes() const;

 private:
  void handle(const LoopbackRequest& request, LoopbackConnection& connection);
  Reply answerTokenRequest(const LoopbackRequest& request);

  mutable std::mutex mutex_;  // guards the fields below
  std::string tokenReply_;
  int tokenStatus_ = 200;
  std::string challenge_;  // from the authorize request
  std::string lastTokenRequest_;
  int tokenRequests_ = 0;
  std::string refreshToken_;
  Reply refreshReply_{400, kInvalidGrant};
  int refreshRequests_ = 0;
  std::vector<Reply> devicePolls_;
  int deviceExpiresIn_ = 60;
  std::vector<std::chrono::steady_clock::time_point> pollTimes_;
  LoopbackHTTPServer server_;  // last: stops before the fields go
};

// What a browser does with an authorize address: GETs it, follows the
// redirect to the loopback callback (with `stateOverride` in place of the
// issuer's state, when given) and returns the callback's status.
long followAuthorizationInBrowser(ai::HTTPTransport& transport, const std::string& authorizeURL,
                                  const std::optional<std::string>& stateOverride = std::nullopt);

}  // namespace zephyl::platform::testing
