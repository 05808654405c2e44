// AITransportRetryBudget: the retries one request's HTTP sends have left, and
// the rules that decide whether a failure is worth another attempt.
#pragma once

#include <optional>
#include <string_view>

#include "ai/ai_transport_retry_policy.h"
#include "ai/monotonic_clock.h"
#include "ai/random_source.h"
#include "core/apple_time.h"

namespace zephyl::ai {

class AITransportRetryBudget {
 public:
  // `clock` and `random` must outlive the budget.
  AITransportRetryBudget(AITransportRetryPolicy policy, MonotonicClock& clock, RandomSource& random)
      : policy_(std::move(policy)), clock_(clock), random_(random) {}

  // The seconds to wait before the next attempt, or nullopt when the failure is
  // final: the retries are used up, the window since the first failure has
  // passed, or the wait (the jittered base delay, or the server's Retry-After
  // hint when longer) would end outside the window.
  std::optional<double> nextDelay(std::optional<double> retryAfter);

  const AITransportRetryPolicy& policy() const { return policy_; }
  size_t retryCount() const { return retryCount_; }
  const std::optional<MonotonicClock::Instant>& firstFailure() const { return firstFailure_; }

 private:
  AITransportRetryPolicy policy_;
  MonotonicClock& clock_;
  RandomSource& random_;
  size_t retryCount_ = 0;
  std::optional<MonotonicClock::Instant> firstFailure_;
};

// Whether an HTTP status is worth retrying: 429 and 408 always, the server
// errors 500, 502, 503, 504 and 529 only for requests that are safe to repeat.
bool isRetryableHTTPStatus(long status, bool safeToRepeat);

// The wait a "Retry-After" value asks for, in seconds: all digits are seconds;
// otherwise an HTTP date (RFC 1123, RFC 850 or asctime form) minus `now`, never
// negative. Nullopt for an empty or unparsable value.
std::optional<double> parseRetryAfter(std::string_view value, core::TimePoint now);

// The wait an error body asks for, in seconds: Google puts it in the body
// rather than a header, as "retryDelay" ("34.4s") of a
// "type.googleapis.com/google.rpc.RetryInfo" entry of "error.details".
// Nullopt for any other body.
std::optional<double> retryDelayInErrorBody(std::string_view body);

}  // namespace zephyl::ai
