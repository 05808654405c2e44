// AIJSONStreamDecoder: what the Chat Completions and Google adapters share
// around their decoders. A decoder reads one event's data at a time and, when
// the body ends, emits its closing events or says what went wrong;
// streamJSONEvents runs one streamed POST through it.
#pragma once

#include <functional>
#include <optional>
#include <stop_token>
#include <string_view>

#include "ai/ai_http_client.h"
#include "ai/ai_service_error.h"
#include "ai/ai_stream_event.h"

namespace zephyl::ai {

class AIJSONStreamDecoder {
 public:
  using Emit = std::function<void(AIStreamEvent)>;

  virtual ~AIJSONStreamDecoder() = default;
  // Reads one event's data; once ended() the rest of the body is not read.
  virtual void decode(std::string_view data, const Emit& emit) = 0;
  virtual bool ended() const = 0;
  // Called once at the end: emits the closing events, or returns the failure.
  virtual std::optional<AIStreamFailure> finish(const Emit& emit) = 0;
};

// Sends `request` (safe to repeat: these services keep nothing of a request)
// and feeds each event's data to `decoder` until it ends or the body does.
// Returns the decoder's failure, or kHTTPStatus with the service's own message
// for a final non-2xx answer. Throws HTTPTransportError and
// core::CancellationError as AIHTTPClient::send does.
std::optional<AIStreamFailure> streamJSONEvents(AIHTTPClient& http, const HTTPRequest& request,
                                                const AITransportRetryPolicy& policy, std::stop_token stop,
                                                AIJSONStreamDecoder& decoder,
                                                const AIJSONStreamDecoder::Emit& emit);

}  // namespace zephyl::ai
