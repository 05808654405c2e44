#include "ai/ai_json_stream_decoder.h"

#include "ai/ai_stream_chunk.h"
#include "ai/server_sent_event_exchange.h"

namespace zephyl::ai {

std::optional<AIStreamFailure> streamJSONEvents(AIHTTPClient& http, const HTTPRequest& request,
                                                const AITransportRetryPolicy& policy, std::stop_token stop,
                                                AIJSONStreamDecoder& decoder,
                                                const AIJSONStreamDecoder::Emit& emit) {
  try {
    exchangeServerSentEvents(http, request, policy, /*safeToRepeat=*/true, stop, [&](const SSEEvent& event) {
      decoder.decode(event.data, emit);
      return decoder.ended() ? SSEEventOutcome::kEndOfStream : SSEEventOutcome::kContinue;
    });
  } catch (const AIHTTPClientError& error) {
    std::string message;
    try {
      if (auto body = streamChunkObject(error.body())) message = serviceErrorMessage(*body);
    } catch (const core::JSONValueError&) {
      // A proxy's HTML page: the status alone says enough.
    }
    return AIStreamFailure{AIServiceError::Code::kHTTPStatus, std::move(message), error.status()};
  }
  return decoder.finish(emit);
}

}  // namespace zephyl::ai
