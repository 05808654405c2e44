#include "ai/ai_http_client.h"

#include <gtest/gtest.h>

#include "core/logger.h"
#include "platform/testing/capturing_log_sink.h"
#include "platform/testing/fake_clock.h"
#include "platform/testing/fake_monotonic_clock.h"
#include "platform/testing/fake_random_source.h"
#include "platform/testing/scripted_http_transport.h"

namespace zephyl::ai {
namespace {

using platform::testing::ScriptedHTTPExchange;
using platform::testing::ScriptedHTTPTransport;
using Code = HTTPTransportError::Code;
using namespace std::chrono_literals;

class AIHTTPClientTest : public ::testing::Test {
 protected:
  void SetUp() override { core::setLogConfiguration({sink_, core::LogLevel::kInfo, false}); }
  void TearDown() override { core::setLogConfiguration({}); }

  // Runs one send; returns the body that reached the caller, or the failure's text.
  std::string send(ScriptedHTTPTransport& transport, bool safeToRepeat = false,
                   AITransportRetryPolicy policy = AITransportRetryPolicy::chatTitle()) {
    AIHTTPClient client(transport, clock_, random_, wallClock_);
    std::string body;
    HTTPRequest request;
    request.url = "http://127.0.0.1/v1/responses";
    try {
      client.send(request, policy, safeToRepeat, {}, [&body](std::string_view bytes) { body += bytes; });
    } catch (const core::Error& error) {
      return error.description();
    }
    return body;
  }

  std::shared_ptr<platform::testing::CapturingLogSink> sink_ =
      std::make_shared<platform::testing::CapturingLogSink>();
  platform::testing::FakeMonotonicClock clock_;
  platform::testing::FakeRandomSource random_{{0.5}};
  platform::testing::FakeClock wallClock_;
};

TEST_F(AIHTTPClientTest, RateLimitWithRetryAfterThenSuccess) {
  ScriptedHTTPTransport transport({
      ScriptedHTTPExchange::response(429, {"slow down"}, {{"retry-after", "3"}}),
      ScriptedHTTPExchange::response(200, {"data: a\n", "\n"}),
  });
  EXPECT_EQ(send(transport), "data: a\n\n");  // the 429 body never reaches the caller
  EXPECT_EQ(clock_.sleeps(), std::vector<MonotonicClock::Duration>{3s});
  EXPECT_EQ(transport.requests().size(), 2u);
  EXPECT_EQ(sink_->lines().at(0), "Retrying AI HTTP attempt=1 status=429 delay=3.000000");
}

TEST_F(AIHTTPClientTest, ServerErrorsRetryOnlyWhenSafeToRepeat) {
  ScriptedHTTPTransport safe(
      {ScriptedHTTPExchange::response(503, {}), ScriptedHTTPExchange::response(200, {"ok"})});
  EXPECT_EQ(send(safe, true), "ok");

  ScriptedHTTPTransport unsafe(
      {ScriptedHTTPExchange::response(503, {"busy"}), ScriptedHTTPExchange::response(200, {})});
  EXPECT_EQ(send(unsafe, false), "The AI service returned an error (HTTP 503): busy");
  EXPECT_EQ(unsafe.requests().size(), 1u);
}

TEST_F(AIHTTPClientTest, RefusedRetrySurfacesTheLastFailure) {
  ScriptedHTTPTransport transport({
      ScriptedHTTPExchange::response(429, {}),
      ScriptedHTTPExchange::response(429, {}),
      ScriptedHTTPExchange::response(429, {"still limited"}),
      ScriptedHTTPExchange::response(200, {"never"}),
  });
  EXPECT_EQ(send(transport), "The AI service returned an error (HTTP 429): still limited");
  EXPECT_EQ(transport.requests().size(), 3u);  // two retries under the chat-title policy
}

TEST_F(AIHTTPClientTest, ErrorBodiesLoseTheRequestsCredentials) {
  core::setLogConfiguration({sink_, core::LogLevel::kDebug, /*showPrivate=*/true});
  const struct {
    HTTPHeaders headers;
    std::vector<std::string> chunks;
    std::string body;
  } cases[] = {
      {{{"Authorization", "Bearer sk-live-123456"}},
       {"{\"error\":\"bad key sk-live", "-123456, header Bearer sk-live-123456\"}"},
       "{\"error\":\"bad key [redacted], header [redacted]\"}"},
      {{{"x-goog-api-key", "AIzaSecret99"}, {"Content-Type", "application/json"}},
       {"key AIzaSecret99 twice AIzaSecret99 application/json"},
       "key [redacted] twice [redacted] application/json"},
      {{{"AUTHORIZATION", "Bearer  spaced-token-77"}}, {"spaced-token-77"}, "[redacted]"},
      {{{"x-custom", "not-a-credential"}}, {"not-a-credential"}, "not-a-credential"},
      {{{"Authorization", "Bearer k1"}}, {"ok k1"}, "ok k1"},  // too short to be a key
  };
  for (const auto& test : cases) {
    ScriptedHTTPTransport transport({ScriptedHTTPExchange::response(401, test.chunks)});
    AIHTTPClient client(transport, clock_, random_, wallClock_);
    HTTPRequest request;
    request.url = "http://127.0.0.1/v1/responses";
    request.headers = test.headers;
    try {
      client.send(request, AITransportRetryPolicy::chatTitle(), false, {}, [](std::string_view) {});
      FAIL() << test.body;
    } catch (const AIHTTPClientError& error) {
      EXPECT_EQ(error.body(), test.body);
      EXPECT_EQ(error.description(), "The AI service returned an error (HTTP 401): " + test.body);
    }
    EXPECT_EQ(sink_->lines().back(), "AI HTTP request failed status=401 body=" + test.body);
  }
}

TEST_F(AIHTTPClientTest, TransportErrorsRetryUntilBodyBytesReachTheCaller) {
  ScriptedHTTPTransport early(
      {ScriptedHTTPExchange::failure(Code::kCannotConnect), ScriptedHTTPExchange::response(200, {"fine"})});
  EXPECT_EQ(send(early), "fine");
  EXPECT_EQ(sink_->lines().at(0), "Retrying AI transport attempt=1 code=7 delay=1.000000");

  ScriptedHTTPTransport late({{HTTPResponseHead{200, {}}, {"partial"}, Code::kConnectionLost},
                              ScriptedHTTPExchange::response(200, {"again"})});
  EXPECT_EQ(send(late, /*safeToRepeat=*/true), "The connection to the AI service was lost: scripted");
  EXPECT_EQ(late.requests().size(), 1u);

  ScriptedHTTPTransport protocol(
      {ScriptedHTTPExchange::failure(Code::kProtocolError), ScriptedHTTPExchange::response(200, {})});
  EXPECT_EQ(send(protocol), "The AI service sent a response that could not be read: scripted");
  EXPECT_EQ(protocol.requests().size(), 1u);
}

TEST_F(AIHTTPClientTest, CancellationIsNeverRetried) {
  ScriptedHTTPTransport transport(
      {ScriptedHTTPExchange::failure(Code::kTimedOut), ScriptedHTTPExchange::response(200, {})});
  AIHTTPClient client(transport, clock_, random_, wallClock_);
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THROW(
      client.send({}, AITransportRetryPolicy::chatTitle(), true, stop.get_token(), [](std::string_view) {}),
      core::CancellationError);
  EXPECT_TRUE(transport.requests().empty());
}

}  // namespace
}  // namespace zephyl::ai
