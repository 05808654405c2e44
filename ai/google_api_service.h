// GoogleAPIService: Google's Gemini API ("googleAPI") with the user's API key.
// One streamed POST to "<base URL>/models/<model>:streamGenerateContent?alt=sse"
// with the key in "x-goog-api-key"; the body from
// google_generate_content_request_body, the events through
// GoogleGenerateContentStreamDecoder. A 429 or 503 whose body carries
// RetryInfo waits the "retryDelay" it names, as a Retry-After header would.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "ai/ai_credential_store.h"
#include "ai/ai_http_client.h"
#include "ai/ai_service_error.h"
#include "ai/ai_stream_provider.h"

namespace zephyl::ai {

class GoogleAPIServiceError : public AIServiceError {
 public:
  explicit GoogleAPIServiceError(const AIStreamFailure& failure)
      : AIServiceError("Google", failure.code, failure.detail, failure.status) {}
};

class GoogleAPIService final : public AIStreamProvider {
 public:
  static constexpr std::string_view kDefaultBaseURL = "https://generativelanguage.googleapis.com/v1beta";

  // Both must outlive the service; `baseURL` replaces the default when given.
  GoogleAPIService(AIHTTPClient& http, AICredentialStore& credentials, std::optional<std::string> baseURL);

  // Throws GoogleAPIServiceError, AIServiceEndpointError for a key bound for
  // plain http to another host, HTTPTransportError, core::CancellationError.
  void produce(const AIStreamRequest& request, std::stop_token stop, const Emit& emit) override;

  // The body `request` would be sent with, for dry runs; throws as produce() does.
  std::string requestBody(const AIStreamRequest& request) const;
  std::string url(const AIStreamRequest& request) const;

 private:
  std::string requestBody(const AIStreamRequest& request, const core::JSONValue::Array& continuation) const;

  AIHTTPClient& http_;
  AICredentialStore& credentials_;
  std::string baseURL_;
};

}  // namespace zephyl::ai
