// Account sign-in logic: encodings, tokens, the device-flow state machine and
// the refresh coordinator, against scripted HTTP and in-memory stores.
#include <gtest/gtest.h>

#include "ai/oauth_authorization_code_flow.h"
#include "ai/oauth_credential_coordinator.h"
#include "ai/oauth_device_flow.h"
#include "ai/oauth_encoding.h"
#include "ai/oauth_error.h"
#include "ai/oauth_pkce.h"
#include "core/base64.h"
#include "platform/testing/fake_clock.h"
#include "platform/testing/fake_monotonic_clock.h"
#include "platform/testing/in_memory_credential_store.h"
#include "platform/testing/scripted_http_transport.h"

namespace zephyl::ai {
namespace {

using platform::testing::ScriptedHTTPExchange;
using namespace std::chrono_literals;

std::string jwt(const std::string& payload) {
  return core::base64Encode(R"({"alg":"none"})", core::Base64Alphabet::kURL) + "." +
         core::base64Encode(payload, core::Base64Alphabet::kURL) + ".sig";
}

ScriptedHTTPExchange reply(long status, const std::string& body) {
  return ScriptedHTTPExchange::response(status, {body});
}

core::JSONValue json(std::string_view text) { return core::JSONValue::parse(text); }

// The code of the OAuthError that `action` throws; nullopt when it throws none.
std::optional<OAuthError::Code> errorCodeOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const OAuthError& error) {
    return error.code();
  }
  return std::nullopt;
}

TEST(OAuthEncoding, PKCEAndQueriesAgreeWithKnownVectors) {
  // SHA-256("abc") from FIPS 180-2, in base64url.
  EXPECT_EQ(pkceS256Challenge("abc"), "ungWv48Bz-pBQUDeXa4iI7ADYaOWF3qctBD_YfIAFa0");
  EXPECT_EQ(parseQuery("code=a%2Fb+c&state=x&empty&code=last"),
            (std::map<std::string, std::string>{{"code", "last"}, {"state", "x"}, {"empty", ""}}));
  EXPECT_EQ(formEncode({{"redirect_uri", "http://localhost:1455/auth/callback"}, {"s", "a b~"}}),
            "redirect_uri=http%3A%2F%2Flocalhost%3A1455%2Fauth%2Fcallback&s=a%20b~");
}

TEST(OAuthTokens, ReadsTheAccountIDOnlyFromAWellFormedIDToken) {
  const std::string claim = R"({"https://api.openai.com/auth":{"chatgpt_account_id":"acct-1"}})";
  const struct {
    std::string token;
    std::optional<std::string> account;
  } cases[] = {
      {jwt(claim), "acct-1"},
      {jwt(R"({"sub":"x"})"), std::nullopt},
      {jwt(R"({"https://api.openai.com/auth":{"chatgpt_account_id":7}})"), std::nullopt},
      {"not-a-jwt", std::nullopt},
      {"a.b", std::nullopt},
      {jwt(claim) + ".extra", std::nullopt},
      {"x." + core::base64Encode("not json", core::Base64Alphabet::kURL) + ".y", std::nullopt},
      {"x." + core::base64Encode("[1]", core::Base64Alphabet::kURL) + ".y", std::nullopt},
      {"x.!!!.y", std::nullopt},
  };
  for (const auto& c : cases) EXPECT_EQ(chatGPTAccountID(c.token), c.account) << c.token;
}

TEST(OAuthTokens, TokenResponsesKeepWhatARefreshLeavesOutAndRoundTripThroughTheStore) {
  const core::TimePoint now = core::TimePoint(std::chrono::seconds(1'800'000'000));
  EXPECT_EQ(errorCodeOf([&] { tokensFromResponse(json(R"({"refresh_token":"r"})"), now, nullptr, false); }),
            OAuthError::Code::kInvalidResponse);
  EXPECT_EQ(errorCodeOf([&] { tokensFromResponse(json(R"({"access_token":"a"})"), now, nullptr, true); }),
            OAuthError::Code::kInvalidResponse);

  OAuthTokens previous{"old-a", "old-r", jwt("{}"), std::nullopt, "acct-1", "https://issuer/oauth/token",
                       "cid"};
  const OAuthTokens kept =
      tokensFromResponse(json(R"({"access_token":"a2","expires_in":3600})"), now, &previous, false);
  EXPECT_EQ(kept, (OAuthTokens{"a2", "old-r", jwt("{}"), now + 1h, "acct-1", previous.tokenURL, "cid"}));
  const std::string access = jwt(R"({"exp":1800000600})");  // expires in 10 minutes
  const OAuthTokens rotated = tokensFromResponse(
      json(R"({"access_token":")" + access + R"(","refresh_token":"new-r"})"), now, &previous, false);
  EXPECT_EQ(rotated,
            (OAuthTokens{access, "new-r", jwt("{}"), now + 10min, "acct-1", previous.tokenURL, "cid"}));

  EXPECT_EQ(parseOAuthTokens(serializeOAuthTokens(rotated)), rotated);
  EXPECT_EQ(parseOAuthTokens("sk-plain-api-key"), std::nullopt);
  EXPECT_EQ(parseOAuthTokens(R"({"refreshToken":"r"})"), std::nullopt);

  EXPECT_FALSE(needsRefresh(kept, now + 54min));
  EXPECT_TRUE(needsRefresh(kept, now + 55min));
  EXPECT_FALSE(needsRefresh(previous, now + 10000h));  // no known expiry: wait for a 401
}

TEST(OAuthAuthorizationCode, CallbackMustCarryThisAttemptsStateAndACode) {
  const struct {
    std::string query;
    std::optional<OAuthError::Code> error;
  } cases[] = {
      {"code=c1&state=s1", std::nullopt},
      {"code=c1&state=other", OAuthError::Code::kStateMismatch},
      {"code=c1", OAuthError::Code::kStateMismatch},
      {"error=access_denied&state=s1", OAuthError::Code::kAccessDenied},
      {"error=access_denied&state=forged", OAuthError::Code::kStateMismatch},
      {"state=s1", OAuthError::Code::kInvalidResponse},
      {"code=&state=s1", OAuthError::Code::kInvalidResponse},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(errorCodeOf([&] { EXPECT_EQ(authorizationCodeFromCallback(c.query, "s1"), "c1"); }), c.error)
        << c.query;
  }
}

TEST(OAuthDeviceFlow, EveryPollAnswerLeadsToItsStep) {
  const struct {
    long status;
    const char* body;
    bool pollAgain;
    std::chrono::seconds interval;
    std::optional<OAuthError::Code> failure;
  } cases[] = {
      {200, R"({"access_token":"a"})", false, 5s, std::nullopt},
      {400, R"({"error":"authorization_pending"})", true, 5s, std::nullopt},
      {400, R"({"error":"slow_down"})", true, 10s, std::nullopt},
      {400, R"({"error":"access_denied"})", false, 5s, OAuthError::Code::kAccessDenied},
      {400, R"({"error":"expired_token"})", false, 5s, OAuthError::Code::kCodeExpired},
      {400, R"({"error":"invalid_client"})", false, 5s, OAuthError::Code::kRequestRefused},
      {503, "", false, 5s, OAuthError::Code::kRequestRefused},
  };
  for (const auto& c : cases) {
    OAuthReply polled{c.status, *c.body ? json(c.body) : core::JSONValue()};
    const DevicePollDecision decision = decideDevicePoll(classifyDevicePoll(polled), 5s);
    EXPECT_EQ(decision.pollAgain, c.pollAgain) << c.body;
    EXPECT_EQ(decision.interval, c.interval) << c.body;
    EXPECT_EQ(decision.failure, c.failure) << c.body;
  }
  EXPECT_EQ(errorCodeOf([] { parseDeviceAuthorization(json(R"({"device_code":"d","user_code":"U"})")); }),
            OAuthError::Code::kInvalidResponse);
  EXPECT_EQ(
      parseDeviceAuthorization(json(R"({"device_code":"d","user_code":"U","verification_uri":"https://v",)"
                                    R"("expires_in":600})"))
          .interval,
      5s);  // the RFC's default
}

class DeviceFlowPolling : public ::testing::Test {
 protected:
  OAuthTokens poll(std::vector<ScriptedHTTPExchange> script, std::chrono::seconds expiresIn = 600s) {
    transport_ = std::make_unique<platform::testing::ScriptedHTTPTransport>(std::move(script));
    client_ = std::make_unique<OAuthTokenClient>(*transport_);
    DeviceAuthorization authorization{"dev-code", "ABCD-EFGH", "https://v", "", expiresIn, 5s};
    return pollForDeviceTokens(*client_, clock_, wallClock_, endpoints_, authorization, {});
  }

  DeviceFlowEndpoints endpoints_{"https://issuer/device", "https://issuer/token", "client", ""};
  platform::testing::FakeMonotonicClock clock_;
  platform::testing::FakeClock wallClock_;
  std::unique_ptr<platform::testing::ScriptedHTTPTransport> transport_;
  std::unique_ptr<OAuthTokenClient> client_;
};

TEST_F(DeviceFlowPolling, WaitsTheIntervalSlowsDownForGoodAndStopsWhenTheCodeRunsOutOrIsRefused) {
  const OAuthTokens tokens =
      poll({reply(400, R"({"error":"authorization_pending"})"), reply(400, R"({"error":"slow_down"})"),
            reply(400, R"({"error":"authorization_pending"})"),
            reply(200, R"({"access_token":"xa","refresh_token":"xr","expires_in":60})")});
  EXPECT_EQ(tokens.accessToken, "xa");
  EXPECT_EQ(tokens.tokenURL, "https://issuer/token");
  EXPECT_EQ(clock_.sleeps(), (std::vector<MonotonicClock::Duration>{5s, 5s, 10s, 10s}));
  EXPECT_EQ(transport_->requests().front().body,
            "grant_type=urn%3Aietf%3Aparams%3Aoauth%3Agrant-type%3Adevice_code&device_code=dev-code&client_"
            "id=client");

  // Polling stops when the code runs out or is refused.
  EXPECT_EQ(errorCodeOf([&] {
              poll({reply(400, R"({"error":"authorization_pending"})"),
                    reply(400, R"({"error":"authorization_pending"})")},
                   12s);
            }),
            OAuthError::Code::kCodeExpired);
  EXPECT_EQ(transport_->requests().size(), 2u);  // polls at 5 s and 10 s; a third wait would pass 12 s
  // Which answer ends the polling with which failure is the poll decision's, tested above.
  EXPECT_EQ(errorCodeOf([&] { poll({reply(400, R"({"error":"access_denied"})")}); }),
            OAuthError::Code::kAccessDenied);
}

class CoordinatorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    OAuthTokens tokens{"access-1", "refresh-1", "", now_ + 1h, "acct-1", "", ""};
    store_.setSecret("tokens", serializeOAuthTokens(tokens));
  }

  OAuthCredentialCoordinator& coordinator(std::vector<ScriptedHTTPExchange> script) {
    transport_ = std::make_unique<platform::testing::ScriptedHTTPTransport>(std::move(script));
    client_ = std::make_unique<OAuthTokenClient>(*transport_);
    coordinator_ = std::make_unique<OAuthCredentialCoordinator>(
        store_, *client_, clock_,
        OAuthRefreshSettings{"tokens", "https://issuer/oauth/token", "cid", true, "zephyl auth login codex"});
    return *coordinator_;
  }
  OAuthTokens stored() { return *parseOAuthTokens(*store_.secret("tokens")); }

  core::TimePoint now_ = core::TimePoint(std::chrono::seconds(1'800'000'000));
  platform::testing::FakeClock clock_{now_};
  platform::testing::InMemoryCredentialStore store_;
  std::unique_ptr<platform::testing::ScriptedHTTPTransport> transport_;
  std::unique_ptr<OAuthTokenClient> client_;
  std::unique_ptr<OAuthCredentialCoordinator> coordinator_;
};

TEST_F(CoordinatorTest, RefreshesBeforeExpiryAndSavesTheRotatedRefreshToken) {
  auto& tokens = coordinator(
      {reply(200, R"({"access_token":"access-2","refresh_token":"refresh-2","expires_in":3600})")});
  EXPECT_EQ(tokens.accessToken({}).token, "access-1");
  EXPECT_TRUE(transport_->requests().empty());

  clock_.advance(56min);
  const OAuthAccessToken fresh = tokens.accessToken({});
  EXPECT_EQ(fresh.token, "access-2");
  EXPECT_EQ(fresh.accountID, "acct-1");
  EXPECT_EQ(stored().refreshToken, "refresh-2");
  ASSERT_EQ(transport_->requests().size(), 1u);
  EXPECT_EQ(json(transport_->requests()[0].body),
            json(R"({"client_id":"cid","grant_type":"refresh_token","refresh_token":"refresh-1"})"));
}

TEST_F(CoordinatorTest, RefreshesOnceAfterA401AndNotAgainForTheSameRejectedToken) {
  auto& tokens = coordinator({reply(200, R"({"access_token":"access-2"})")});
  EXPECT_EQ(tokens.refreshAfterUnauthorized("access-1", {}).token, "access-2");
  // A second request that was sent with the old token finds the new one already there.
  EXPECT_EQ(tokens.refreshAfterUnauthorized("access-1", {}).token, "access-2");
  EXPECT_EQ(transport_->requests().size(), 1u);
  EXPECT_EQ(stored().refreshToken, "refresh-1");  // not rotated: kept
}

TEST_F(CoordinatorTest, PermanentRefreshFailuresAskToSignInAgain) {
  const struct {
    long status;
    const char* body;
    OAuthError::Code code;
  } cases[] = {
      {401, R"({"error":{"code":"refresh_token_expired","message":"m"}})", OAuthError::Code::kSignInAgain},
      {401, R"({"error":{"code":"refresh_token_reused"}})", OAuthError::Code::kSignInAgain},
      {401, R"({"error":"refresh_token_invalidated"})", OAuthError::Code::kSignInAgain},
      {400, R"({"error":"invalid_grant"})", OAuthError::Code::kSignInAgain},
      {500, R"({"error":"server_error"})", OAuthError::Code::kRequestRefused},
      {200, R"({"token_type":"bearer"})", OAuthError::Code::kInvalidResponse},
  };
  for (const auto& c : cases) {
    auto& tokens = coordinator({reply(c.status, c.body)});
    try {
      tokens.refreshAfterUnauthorized("access-1", {});
      ADD_FAILURE() << c.body;
    } catch (const OAuthError& error) {
      EXPECT_EQ(error.code(), c.code) << c.body;
      if (c.code == OAuthError::Code::kSignInAgain) {
        EXPECT_NE(error.description().find("sign in again"), std::string::npos);
        EXPECT_NE(error.description().find("zephyl auth login codex"), std::string::npos);
      }
    }
    EXPECT_EQ(stored().refreshToken, "refresh-1") << "a failed refresh changes nothing stored";
  }
  store_.removeSecret("tokens");
  EXPECT_EQ(errorCodeOf([&] { coordinator({}).accessToken({}); }), OAuthError::Code::kNotSignedIn);
}

TEST_F(CoordinatorTest, RefusesToSendTheRefreshTokenOverPlainHTTP) {
  OAuthTokens tokens = stored();
  tokens.tokenURL = "http://issuer.example/oauth/token";
  store_.setSecret("tokens", serializeOAuthTokens(tokens));
  auto& coordinator = this->coordinator({reply(200, R"({"access_token":"x"})")});
  EXPECT_EQ(errorCodeOf([&] { coordinator.refreshAfterUnauthorized("access-1", {}); }),
            OAuthError::Code::kInsecureEndpoint);
  EXPECT_TRUE(transport_->requests().empty());
}

}  // namespace
}  // namespace zephyl::ai
