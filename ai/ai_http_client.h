// AIHTTPClient: the HTTP send of every AI adapter, with the transport retry
// rules. A failed attempt is retried while the request's retry budget allows,
// but never once the first byte of a successful body has reached the caller,
// and never after cancellation.
#pragma once

#include <functional>
#include <stop_token>
#include <string>
#include <string_view>

#include "ai/ai_transport_retry_policy.h"
#include "ai/http_transport.h"
#include "ai/monotonic_clock.h"
#include "ai/random_source.h"
#include "core/clock.h"
#include "core/error.h"

namespace zephyl::ai {

class AIHTTPClientError : public core::Error {
 public:
  enum class Code { kHTTPStatus };

  // The service's own words go into the description, so that a context
  // overflow is recognised whichever service reported it.
  AIHTTPClientError(Code code, long status, std::string body)
      : Error(std::string(text(code)) + " (HTTP " + std::to_string(status) + ")" +
              (body.empty() ? "" : ": " + body)),
        code_(code),
        status_(status),
        body_(std::move(body)) {}

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kHTTPStatus:
        return "The AI service returned an error";
    }
    return {};
  }

  Code code() const { return code_; }
  long status() const { return status_; }
  const std::string& body() const { return body_; }

 private:
  Code code_;
  long status_;
  std::string body_;
};

class AIHTTPClient {
 public:
  static constexpr size_t kMaximumErrorBodyBytes = 64 * 1024;

  // All four must outlive the client; `wallClock` dates Retry-After values.
  AIHTTPClient(HTTPTransport& transport, MonotonicClock& clock, RandomSource& random, core::Clock& wallClock);

  // Sends `request`; a 2xx body goes to `onBody` as it arrives. `safeToRepeat`
  // lets server errors (500, 502, 503, 504, 529) retry too. Throws
  // AIHTTPClientError for a final non-2xx status, HTTPTransportError for a
  // final transport failure, core::CancellationError once `stop` is requested,
  // and whatever `onBody` throws.
  void send(const HTTPRequest& request, const AITransportRetryPolicy& policy, bool safeToRepeat,
            std::stop_token stop, const std::function<void(std::string_view)>& onBody);

 private:
  HTTPTransport& transport_;
  MonotonicClock& clock_;
  RandomSource& random_;
  core::Clock& wallClock_;
};

}  // namespace zephyl::ai
