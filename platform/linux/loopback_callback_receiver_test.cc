// The ChatGPT sign-in end to end on this computer: the real callback receiver
// and HTTP transport against a fake issuer, with a test "browser".
#include "platform/linux/loopback_callback_receiver.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <future>

#include "ai/oauth_encoding.h"
#include "ai/oauth_error.h"
#include "core/base64.h"
#include "platform/linux/curl_http_transport.h"
#include "platform/testing/fake_authorization_server.h"
#include "platform/testing/fake_clock.h"

namespace zephyl::platform {
namespace {

using ai::OAuthError;
using namespace std::chrono_literals;

class CountingRandom : public ai::SecureRandom {
 public:
  std::string bytes(size_t count) override { return std::string(count, static_cast<char>(next_++)); }

 private:
  int next_ = 1;
};

std::string jwt(const std::string& payload) {
  return core::base64Encode(R"({"alg":"none"})", core::Base64Alphabet::kURL) + "." +
         core::base64Encode(payload, core::Base64Alphabet::kURL) + ".sig";
}

const std::string kIDToken = jwt(R"({"https://api.openai.com/auth":{"chatgpt_account_id":"acct-42"}})");

class SignInTest : public ::testing::Test {
 protected:
  // Runs the sign-in; the browser (when `browse`) follows the address it is shown.
  ai::OAuthTokens signIn(testing::FakeAuthorizationServer& issuer,
                         std::optional<std::string> forgedState = {}, bool browse = true,
                         std::chrono::milliseconds timeout = 10s) {
    auto receiver = LoopbackCallbackReceiver::listen({0});
    ai::AuthorizationCodeEndpoints endpoints{issuer.issuer(), "client-1", "openid offline_access", {0}};
    std::future<long> browser;
    const auto show = [&](const std::string& url) {
      shownURL_ = url;
      if (browse) {
        browser = std::async(std::launch::async, [this, url, forgedState] {
          return testing::followAuthorizationInBrowser(browserTransport_, url, forgedState);
        });
      }
    };
    ai::OAuthTokenClient client(transport_);
    try {
      auto tokens =
          ai::signInWithAuthorizationCode(endpoints, client, *receiver, random_, clock_, show, timeout, {});
      if (browser.valid()) {
        EXPECT_EQ(browser.get(), 200);
      }
      return tokens;
    } catch (...) {
      if (browser.valid()) browser.wait();
      throw;
    }
  }

  OAuthError::Code failureOf(const std::function<void()>& action) {
    try {
      action();
    } catch (const OAuthError& error) {
      lastMessage_ = error.description();
      return error.code();
    }
    ADD_FAILURE() << "signed in";
    return OAuthError::Code::kInvalidResponse;
  }

  CurlHTTPTransport transport_, browserTransport_;
  CountingRandom random_;
  testing::FakeClock clock_{core::TimePoint(std::chrono::seconds(1'800'000'000))};
  std::string shownURL_, lastMessage_;
};

TEST_F(SignInTest, CompletesThePKCERoundTripAndKeepsTheAccountID) {
  testing::FakeAuthorizationServer issuer(R"({"access_token":"at-1","refresh_token":"rt-1","id_token":")" +
                                          kIDToken + R"(","expires_in":3600})");
  const ai::OAuthTokens tokens = signIn(issuer);
  EXPECT_EQ(tokens.accessToken, "at-1");
  EXPECT_EQ(tokens.refreshToken, "rt-1");
  EXPECT_EQ(tokens.accountID, "acct-42");
  EXPECT_EQ(tokens.tokenURL, issuer.issuer() + "/oauth/token");
  EXPECT_EQ(tokens.expiresAt, clock_.now() + 1h);
  EXPECT_NE(shownURL_.find("code_challenge_method=S256"), std::string::npos);
  auto form = ai::parseQuery(issuer.lastTokenRequest());
  EXPECT_EQ(form["client_id"], "client-1");
  EXPECT_EQ(form["redirect_uri"].substr(0, 17), "http://localhost:");
}

TEST_F(SignInTest, RefusesAnswersThatAreNotThisAttemptsOrNotUsable) {
  const std::string good = R"({"access_token":"at","refresh_token":"rt","id_token":")" + kIDToken + R"("})";
  {
    testing::FakeAuthorizationServer issuer(good);
    EXPECT_EQ(failureOf([&] { signIn(issuer, std::string("forged-state")); }),
              OAuthError::Code::kStateMismatch);
    EXPECT_EQ(issuer.tokenRequests(), 0) << "a forged answer's code is never exchanged";
  }
  const struct {
    const char* name;
    std::string reply;
    OAuthError::Code code;
  } cases[] = {
      {"no account claim", R"({"access_token":"at","id_token":")" + jwt("{}") + R"("})",
       OAuthError::Code::kInvalidResponse},
      {"not JSON", "<html>", OAuthError::Code::kInvalidResponse},
  };
  for (const auto& c : cases) {
    testing::FakeAuthorizationServer issuer(c.reply);
    EXPECT_EQ(failureOf([&] { signIn(issuer); }), c.code) << c.name;
  }
}

TEST_F(SignInTest, ABrowserThatNeverComesBackEndsInATimeOutThatSaysSo) {
  testing::FakeAuthorizationServer issuer("{}");
  EXPECT_EQ(failureOf([&] { signIn(issuer, std::nullopt, /*browse=*/false, 300ms); }),
            OAuthError::Code::kTimedOut);
  EXPECT_NE(lastMessage_.find("browser"), std::string::npos) << lastMessage_;
}

TEST(LoopbackCallbackReceiver, TakesTheNextPortWhenTheFirstIsBusyAndSaysWhichWereTried) {
  const int holder = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ASSERT_EQ(::bind(holder, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(::listen(holder, 1), 0);
  socklen_t length = sizeof address;
  ::getsockname(holder, reinterpret_cast<sockaddr*>(&address), &length);
  const int busy = ntohs(address.sin_port);

  auto fallback = LoopbackCallbackReceiver::listen({busy, 0});
  EXPECT_NE(fallback->port(), busy);
  try {
    LoopbackCallbackReceiver::listen({busy});
    ADD_FAILURE() << "listened on a busy port";
  } catch (const OAuthError& error) {
    EXPECT_EQ(error.code(), OAuthError::Code::kCallbackPortBusy);
    EXPECT_NE(error.description().find(std::to_string(busy)), std::string::npos);
  }
  ::close(holder);
}

}  // namespace
}  // namespace zephyl::platform
