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

std::optional<AIStreamFailure> streamJSONEventsWithTools(AIHTTPClient& http, HTTPRequest request,
                                                         const AIStreamRequest& streamRequest,
                                                         bool takesNotesQuery, std::stop_token stop,
                                                         const AIJSONToolRounds& rounds,
                                                         const AIJSONStreamDecoder::Emit& emit) {
  AIFunctionToolLoop tools(streamRequest, takesNotesQuery, stop, emit);
  core::JSONValue::Array continuation;
  std::vector<AIProviderResponseItem> kept;
  std::optional<AIStreamFailure> failure;
  std::optional<AIProviderResponseItem> turn;  // the last round's, with its calls
  tools.run(
      [&]() -> std::vector<AIFunctionCall> {
        request.body = rounds.body(continuation);
        const std::unique_ptr<AIJSONStreamDecoder> decoder = rounds.decoder();
        std::vector<AIProviderResponseItem> items;
        // A round's items and its end wait for the last round.
        failure = streamJSONEvents(
            http, request, streamRequest.transportRetryPolicy, stop, *decoder, [&](AIStreamEvent event) {
              if (const auto* roundItems = event.as<AIStreamEvent::ProviderResponseItems>()) {
                items.insert(items.end(), roundItems->items.begin(), roundItems->items.end());
              } else if (event.as<AIStreamEvent::Completed>() == nullptr) {
                emit(std::move(event));
              }
            });
        if (failure) return {};
        if (!rounds.keepsEveryRound) kept.clear();
        kept.insert(kept.end(), items.begin(), items.end());
        // A round leaves one model turn; its calls are what the round asked for.
        turn.reset();
        for (const AIProviderResponseItem& item : items) {
          std::vector<AIFunctionCall> calls = rounds.calls(item.payload);
          if (calls.empty()) continue;
          turn = item;
          return calls;
        }
        return {};
      },
      [&](const std::vector<AIFunctionCallOutput>& outputs) {
        const size_t given = continuation.size() + 1;  // after the model's turn itself
        rounds.giveBack(turn->payload, outputs, continuation);
        if (!rounds.keepsEveryRound) return;
        // The outputs stay with the message after the calls they answer.
        for (size_t i = given; i < continuation.size(); ++i)
          kept.push_back({turn->provider, continuation[i], turn->responseID});
      });
  if (failure) return failure;
  if (!kept.empty()) emit(AIStreamEvent::ProviderResponseItems{std::move(kept)});
  emit(AIStreamEvent::Completed{});
  return std::nullopt;
}

}  // namespace zephyl::ai
