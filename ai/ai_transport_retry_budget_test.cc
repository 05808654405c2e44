#include "ai/ai_transport_retry_budget.h"

#include <gtest/gtest.h>

#include <chrono>

#include "platform/testing/fake_monotonic_clock.h"
#include "platform/testing/fake_random_source.h"

namespace zephyl::ai {
namespace {

using platform::testing::FakeMonotonicClock;
using platform::testing::FakeRandomSource;
using namespace std::chrono_literals;

TEST(AITransportRetryBudget, RandomFactorStaysWithinEightyToHundredTwentyPercent) {
  for (const auto& [unit, expected] :
       std::vector<std::pair<double, double>>{{0.0, 0.8}, {1.0, 1.2}, {0.5, 1.0}, {-3.0, 0.8}, {7.0, 1.2}}) {
    FakeMonotonicClock clock;
    FakeRandomSource random({unit});
    AITransportRetryBudget budget({{1.0}, 15.0}, clock, random);
    const auto delay = budget.nextDelay(std::nullopt);
    ASSERT_TRUE(delay);
    EXPECT_DOUBLE_EQ(*delay, expected) << unit;
  }
}

TEST(AITransportRetryBudget, CountWindowAndHint) {
  FakeMonotonicClock clock;
  FakeRandomSource random({0.5});
  AITransportRetryBudget budget(AITransportRetryPolicy::chatTitle(), clock, random);

  EXPECT_EQ(budget.nextDelay(std::nullopt), 1.0);
  ASSERT_TRUE(budget.firstFailure());
  clock.advance(1s);
  EXPECT_EQ(budget.nextDelay(3.0), 3.0);  // the hint is longer than the base of 2
  clock.advance(3s);
  EXPECT_EQ(budget.nextDelay(std::nullopt), std::nullopt);  // both retries used
  EXPECT_EQ(budget.retryCount(), 2u);

  AITransportRetryBudget late(AITransportRetryPolicy::chatTitle(), clock, random);
  EXPECT_EQ(late.nextDelay(std::nullopt), 1.0);
  clock.advance(14s);
  EXPECT_EQ(late.nextDelay(std::nullopt), std::nullopt);  // 14 + 2 reaches past 15
  clock.advance(2s);
  EXPECT_EQ(late.nextDelay(0.0), std::nullopt);  // the window has passed

  AITransportRetryBudget none(AITransportRetryPolicy::none(), clock, random);
  EXPECT_EQ(none.nextDelay(std::nullopt), std::nullopt);
}

TEST(AITransportRetryBudget, DelaysPastTheWindowNonFiniteOrNegativeAreFinal) {
  FakeMonotonicClock clock;
  FakeRandomSource random;
  const std::tuple<AITransportRetryPolicy, std::optional<double>> cases[] = {
      {AITransportRetryPolicy::chatTitle(), 120.0},
      {{{1.0}, 1e300}, std::numeric_limits<double>::infinity()},
      {{{-5.0}, 15.0}, std::nullopt},
  };
  for (const auto& [policy, hint] : cases) {
    AITransportRetryBudget budget(policy, clock, random);
    EXPECT_EQ(budget.nextDelay(hint), std::nullopt);
    EXPECT_EQ(budget.retryCount(), 0u);
  }
}

TEST(RetryableHTTPStatus, StatusClasses) {
  for (long status : {429L, 408L}) {
    EXPECT_TRUE(isRetryableHTTPStatus(status, false)) << status;
    EXPECT_TRUE(isRetryableHTTPStatus(status, true)) << status;
  }
  for (long status : {500L, 502L, 503L, 504L, 529L}) {
    EXPECT_FALSE(isRetryableHTTPStatus(status, false)) << status;
    EXPECT_TRUE(isRetryableHTTPStatus(status, true)) << status;
  }
  for (long status : {200L, 400L, 401L, 403L, 404L, 413L, 501L, 505L}) {
    EXPECT_FALSE(isRetryableHTTPStatus(status, true)) << status;
  }
}

TEST(ParseRetryAfter, SecondsAndTheThreeDateFormats) {
  // 1994-11-06 08:49:00 UTC
  const core::TimePoint now = std::chrono::sys_days{std::chrono::year{1994} / 11 / 6} + 8h + 49min;
  const std::vector<std::pair<std::string, std::optional<double>>> cases = {
      {"120", 120.0},
      {" 7 ", 7.0},
      {"0", 0.0},
      {"Sun, 06 Nov 1994 08:49:37 GMT", 37.0},
      {"Sunday, 06-Nov-94 08:49:37 GMT", 37.0},
      {"Sun Nov  6 08:49:37 1994", 37.0},
      {"Sun, 06 Nov 1994 09:49:37 +0100", 37.0},
      {"Sun, 06 Nov 1994 08:00:00 GMT", 0.0},  // in the past: no wait, not negative
      {"", std::nullopt},
      {"-5", std::nullopt},
      {"1.5", std::nullopt},
      {"soon", std::nullopt},
      {"Sun, 31 Feb 1994 08:49:37 GMT", std::nullopt},
      {"Sun, 06 Nov 1994 08:49:37 CEST", std::nullopt},
  };
  for (const auto& [value, expected] : cases) EXPECT_EQ(parseRetryAfter(value, now), expected) << value;
}

}  // namespace
}  // namespace zephyl::ai
