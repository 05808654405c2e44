// HTTPTransport: the platform's HTTP client with a streamed response body. The
// AI layer declares it; the platform implements it (libcurl on Linux).
#pragma once

#include <chrono>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/error.h"

namespace zephyl::ai {

using HTTPHeaders = std::vector<std::pair<std::string, std::string>>;

struct HTTPRequest {
  std::string method = "POST";
  std::string url;
  HTTPHeaders headers;
  std::string body;
  std::chrono::milliseconds connectTimeout{15'000};
  // The longest silence allowed once connected: a stream that stalls this long fails.
  std::chrono::milliseconds idleTimeout{120'000};
  // The longest the whole exchange may take; none for open-ended streams.
  std::optional<std::chrono::milliseconds> totalTimeout;
};

struct HTTPResponseHead {
  long status = 0;
  HTTPHeaders headers;  // as received, the last response's only after redirects

  // The first header named `name`, compared without case.
  std::optional<std::string> header(std::string_view name) const;
};

// Receives one response as it arrives, on the thread that called send().
class HTTPResponseHandler {
 public:
  virtual ~HTTPResponseHandler() = default;
  // Once, before any body bytes.
  virtual void onResponse(const HTTPResponseHead& head) = 0;
  // Each piece of the body in order; pieces have no particular size.
  virtual void onBody(std::string_view bytes) = 0;
};

class HTTPTransportError : public core::Error {
 public:
  enum class Code { kCannotConnect, kTimedOut, kConnectionLost, kProtocolError, kFailed };

  // `systemCode` is the underlying library's code (logged, and the "code" of retry log lines).
  HTTPTransportError(Code code, long systemCode, const std::string& detail)
      : Error(std::string(text(code)) + (detail.empty() ? "" : ": " + detail)),
        code_(code),
        systemCode_(systemCode) {}

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kCannotConnect:
        return "Could not connect to the AI service";
      case Code::kTimedOut:
        return "The AI service did not answer in time";
      case Code::kConnectionLost:
        return "The connection to the AI service was lost";
      case Code::kProtocolError:
        return "The AI service sent a response that could not be read";
      case Code::kFailed:
        return "The request to the AI service failed";
    }
    return {};
  }

  Code code() const { return code_; }
  long systemCode() const { return systemCode_; }

 private:
  Code code_;
  long systemCode_;
};

class HTTPTransport {
 public:
  virtual ~HTTPTransport() = default;

  // Sends `request` and feeds the response to `handler` as it arrives; returns
  // when the body has ended. Throws HTTPTransportError when no complete response
  // arrives, core::CancellationError promptly once `stop` is requested, and
  // whatever the handler throws (the transfer is abandoned). Safe to call from
  // several threads at once, one request each.
  virtual void send(const HTTPRequest& request, HTTPResponseHandler& handler, std::stop_token stop) = 0;
};

}  // namespace zephyl::ai
