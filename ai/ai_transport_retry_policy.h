// AITransportRetryPolicy: how often and how long a request's HTTP send may be
// retried after a failure.
#pragma once

#include <vector>

namespace zephyl::ai {

struct AITransportRetryPolicy {
  std::vector<double> delays;  // base delays in seconds, one per permitted retry
  double retryWindow = 0;      // seconds from the first failure after which no retry starts

  bool operator==(const AITransportRetryPolicy&) const = default;

  // No retries.
  static AITransportRetryPolicy none() { return {}; }
  // Automatic chat titles: cheap and unattended.
  static AITransportRetryPolicy chatTitle() { return {{1.0, 2.0}, 15.0}; }
  // The assistant and Inline AI: the user is waiting, so a few quick retries.
  static AITransportRetryPolicy interactive() { return {{1.0, 2.0, 4.0}, 20.0}; }
};

}  // namespace zephyl::ai
