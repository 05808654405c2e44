// ChatCompletionsAIService: the shared core of the OpenAI-compatible Chat
// Completions services (DeepSeek, OpenRouter, Cloudflare Workers AI, the Z.ai
// GLM Coding Plan, OpenCode, the user's own endpoints). One streamed POST to
// "<base URL>/chat/completions" with a bearer key; the body from
// chat_completions_request_body, the events through
// ChatCompletionsStreamDecoder. A member says where a request goes and with
// which key (`target`), and throws its own error type (`raise`).
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ai/ai_credential_store.h"
#include "ai/ai_http_client.h"
#include "ai/ai_service_error.h"
#include "ai/ai_stream_provider.h"
#include "ai/chat_completions_request_body.h"

namespace zephyl::ai {

// Where one request goes and how the service there takes it.
struct ChatCompletionsTarget {
  std::string url;                    // the full endpoint
  std::optional<std::string> apiKey;  // none: no Authorization header (a local server)
  std::string modelName;
  ChatCompletionsDialect dialect;
  HTTPHeaders extraHeaders;
};

class ChatCompletionsAIService : public AIStreamProvider {
 public:
  // `http` must outlive the service.
  ChatCompletionsAIService(AIProvider provider, AIHTTPClient& http) : provider_(provider), http_(http) {}

  // Throws the member's error type (AIServiceError's cases),
  // AIServiceEndpointError for a key bound for plain http to another host,
  // HTTPTransportError, core::CancellationError.
  void produce(const AIStreamRequest& request, std::stop_token stop, const Emit& emit) override;

  // The body that `request` would be sent with, for dry runs; throws as produce() does.
  std::string requestBody(const AIStreamRequest& request) const;

 protected:
  // Where `request` goes; raises kMissingAPIKey, kMissingAccountID, kUnknownModel.
  virtual ChatCompletionsTarget target(const AIStreamRequest& request) const = 0;
  // Throws the member's error type; `request` names the service for members
  // whose name is the user's.
  [[noreturn]] virtual void raise(const AIStreamRequest& request, const AIStreamFailure& failure) const = 0;

  // The target of a hosted service: "<baseURL>/chat/completions" with the key
  // stored under `keyName`, which must exist.
  ChatCompletionsTarget keyedTarget(const AIStreamRequest& request, AICredentialStore& credentials,
                                    std::string_view keyName, std::string_view baseURL,
                                    ChatCompletionsDialect dialect) const;

 private:
  AIProvider provider_;
  AIHTTPClient& http_;
};

}  // namespace zephyl::ai
