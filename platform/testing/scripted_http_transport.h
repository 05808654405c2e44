// An HTTP transport that answers each send with the next scripted exchange and
// records the requests it was given; for the retry and adapter tests.
#pragma once

#include <deque>
#include <mutex>
#include <optional>
#include <vector>

#include "ai/http_transport.h"

namespace zephyl::platform::testing {

struct ScriptedHTTPExchange {
  // No head: the transport fails with `error` before any response.
  std::optional<ai::HTTPResponseHead> head;
  std::vector<std::string> bodyChunks;
  // Thrown after the head and chunks (or at once without a head).
  std::optional<ai::HTTPTransportError::Code> error;

  static ScriptedHTTPExchange response(long status, std::vector<std::string> chunks,
                                       ai::HTTPHeaders headers = {}) {
    return {ai::HTTPResponseHead{status, std::move(headers)}, std::move(chunks), std::nullopt};
  }
  static ScriptedHTTPExchange failure(ai::HTTPTransportError::Code code) { return {std::nullopt, {}, code}; }
};

class ScriptedHTTPTransport : public ai::HTTPTransport {
 public:
  explicit ScriptedHTTPTransport(std::vector<ScriptedHTTPExchange> script)
      : script_(script.begin(), script.end()) {}

  void send(const ai::HTTPRequest& request, ai::HTTPResponseHandler& handler, std::stop_token stop) override {
    ScriptedHTTPExchange exchange;
    {
      std::lock_guard lock(mutex_);
      requests_.push_back(request);
      if (script_.empty())
        throw ai::HTTPTransportError(ai::HTTPTransportError::Code::kFailed, 0, "script ended");
      exchange = std::move(script_.front());
      script_.pop_front();
    }
    if (stop.stop_requested()) throw core::CancellationError();
    if (exchange.head) {
      handler.onResponse(*exchange.head);
      for (const auto& chunk : exchange.bodyChunks) handler.onBody(chunk);
    }
    if (exchange.error) throw ai::HTTPTransportError(*exchange.error, 7, "scripted");
  }

  std::vector<ai::HTTPRequest> requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
  }

 private:
  mutable std::mutex mutex_;  // guards script_ and requests_
  std::deque<ScriptedHTTPExchange> script_;
  std::vector<ai::HTTPRequest> requests_;
};

}  // namespace zephyl::platform::testing
