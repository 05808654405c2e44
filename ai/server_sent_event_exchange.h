// One streamed HTTP exchange read as server-sent events: the send with its
// retry budget (AIHTTPClient), the body fed through an SSEReader as it arrives,
// and each event handed to the adapter on the calling thread. Every adapter
// that speaks SSE (Responses, Chat Completions, Google) shares this loop; the
// adapter only decodes events.
#pragma once

#include <functional>
#include <stop_token>

#include "ai/ai_http_client.h"
#include "ai/sse_reader.h"

namespace zephyl::ai {

enum class SSEEventOutcome {
  kContinue,
  kEndOfStream,  // a terminal event: the rest of the body is abandoned
};

// How the exchange ended.
enum class SSEExchangeEnd {
  kTerminalEvent,  // the handler returned kEndOfStream
  kEndOfBody,      // the body ended first (the reader's final flush included)
};

// Sends `request` and hands each event to `onEvent`. Throws what
// AIHTTPClient::send throws (AIHTTPClientError for a final non-2xx status,
// HTTPTransportError), core::CancellationError as soon as `stop` is requested
// (checked before every event, so a cancelled consumer ends the transfer at
// once), and whatever `onEvent` throws.
SSEExchangeEnd exchangeServerSentEvents(AIHTTPClient& client, const HTTPRequest& request,
                                        const AITransportRetryPolicy& policy, bool safeToRepeat,
                                        std::stop_token stop,
                                        const std::function<SSEEventOutcome(const SSEEvent&)>& onEvent);

}  // namespace zephyl::ai
