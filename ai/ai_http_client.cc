#include "ai/ai_http_client.h"

#include <cstdio>
#include <optional>

#include "ai/ai_transport_retry_budget.h"
#include "core/ascii_lowercase.h"
#include "core/logger.h"

namespace zephyl::ai {
namespace {

constexpr core::Logger kLog("AIHTTPClient");

// Passes a 2xx body on; keeps the start of any other body for the error.
class AttemptHandler : public HTTPResponseHandler {
 public:
  explicit AttemptHandler(const std::function<void(std::string_view)>& onBody) : onBody_(onBody) {}

  void onResponse(const HTTPResponseHead& head) override { head_ = head; }

  void onBody(std::string_view bytes) override {
    if (succeeded()) {
      bodyDelivered_ = true;
      onBody_(bytes);
      return;
    }
    const size_t room = AIHTTPClient::kMaximumErrorBodyBytes - errorBody_.size();
    errorBody_.append(bytes.substr(0, room));
  }

  bool succeeded() const { return head_ && head_->status >= 200 && head_->status < 300; }
  bool bodyDelivered() const { return bodyDelivered_; }
  const std::optional<HTTPResponseHead>& head() const { return head_; }
  const std::string& errorBody() const { return errorBody_; }
  std::string takeErrorBody() { return std::move(errorBody_); }

 private:
  const std::function<void(std::string_view)>& onBody_;
  std::optional<HTTPResponseHead> head_;
  bool bodyDelivered_ = false;
  std::string errorBody_;
};

bool isRetryableTransportError(HTTPTransportError::Code code) {
  switch (code) {
    case HTTPTransportError::Code::kCannotConnect:
    case HTTPTransportError::Code::kTimedOut:
    case HTTPTransportError::Code::kConnectionLost:
      return true;
    case HTTPTransportError::Code::kProtocolError:
    case HTTPTransportError::Code::kFailed:
      return false;
  }
  return false;
}

bool isCredentialHeader(std::string_view name) {
  const std::string lower = core::asciiLowercase(name);
  return lower == "authorization" || lower == "proxy-authorization" || lower == "x-goog-api-key" ||
         lower == "x-api-key" || lower == "api-key" || lower == "cookie";
}

void replaceAll(std::string& text, std::string_view value) {
  // Shorter values are no real credential, and replacing them would garble the service's words.
  constexpr size_t kShortestCredential = 8;
  constexpr std::string_view kRedacted = "[redacted]";
  if (value.size() < kShortestCredential) return;
  for (size_t at = text.find(value); at != std::string::npos; at = text.find(value, at + kRedacted.size())) {
    text.replace(at, value.size(), kRedacted);
  }
}

// A service may echo the key it was sent in its error body, which is logged
// and may become the error's text.
std::string withoutCredentials(std::string body, const HTTPHeaders& headers) {
  for (const auto& [name, value] : headers) {
    if (!isCredentialHeader(name)) continue;
    replaceAll(body, value);
    // "Bearer <token>": the token alone, too.
    if (const size_t token = value.find_first_not_of(' ', value.find(' ')); token != std::string::npos) {
      replaceAll(body, std::string_view(value).substr(token));
    }
  }
  return body;
}

std::string formatDelay(double seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%f", seconds);
  return text;
}

}  // namespace

AIHTTPClient::AIHTTPClient(HTTPTransport& transport, MonotonicClock& clock, RandomSource& random,
                           core::Clock& wallClock)
    : transport_(transport), clock_(clock), random_(random), wallClock_(wallClock) {}

void AIHTTPClient::send(const HTTPRequest& request, const AITransportRetryPolicy& policy, bool safeToRepeat,
                        std::stop_token stop, const std::function<void(std::string_view)>& onBody) {
  AITransportRetryBudget budget(policy, clock_, random_);
  for (long attempt = 1;; ++attempt) {
    if (stop.stop_requested()) throw core::CancellationError();
    AttemptHandler handler(onBody);
    try {
      transport_.send(request, handler, stop);
    } catch (const HTTPTransportError& error) {
      if (stop.stop_requested()) throw core::CancellationError();
      if (handler.bodyDelivered() || !isRetryableTransportError(error.code())) throw;
      const auto delay = budget.nextDelay(std::nullopt);
      if (!delay) throw;
      kLog.info() << "Retrying AI transport attempt=" << attempt << " code=" << error.systemCode()
                  << " delay=" << formatDelay(*delay);
      clock_.sleepFor(
          std::chrono::duration_cast<MonotonicClock::Duration>(std::chrono::duration<double>(*delay)), stop);
      continue;
    }
    if (handler.succeeded()) return;
    const long status = handler.head() ? handler.head()->status : 0;
    std::optional<double> retryAfter;
    if (handler.head()) {
      if (auto value = handler.head()->header("Retry-After"))
        retryAfter = parseRetryAfter(*value, wallClock_.now());
    }
    if (!retryAfter) retryAfter = retryDelayInErrorBody(handler.errorBody());
    if (isRetryableHTTPStatus(status, safeToRepeat)) {
      if (const auto delay = budget.nextDelay(retryAfter)) {
        kLog.info() << "Retrying AI HTTP attempt=" << attempt << " status=" << status
                    << " delay=" << formatDelay(*delay);
        clock_.sleepFor(
            std::chrono::duration_cast<MonotonicClock::Duration>(std::chrono::duration<double>(*delay)),
            stop);
        continue;
      }
    }
    std::string body = withoutCredentials(handler.takeErrorBody(), request.headers);
    kLog.warning() << "AI HTTP request failed status=" << status << " body=" << core::Private(body);
    throw AIHTTPClientError(AIHTTPClientError::Code::kHTTPStatus, status, std::move(body));
  }
}

}  // namespace zephyl::ai
