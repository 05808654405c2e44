// AIJSONStreamDecoder: what the Chat Completions and Google adapters share
// around their decoders. A decoder reads one event's data at a time and, when
// the body ends, emits its closing events or says what went wrong;
// streamJSONEvents runs one streamed POST through it.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string_view>
#include <vector>

#include "ai/ai_function_tool_loop.h"
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

// What a family of these services adds to run the request's function tools.
struct AIJSONToolRounds {
  // The body of a round: `continuation` (the model's turns with tool calls and
  // the turns that gave their outputs back) follows the current input.
  std::function<std::string(const core::JSONValue::Array& continuation)> body;
  std::function<std::unique_ptr<AIJSONStreamDecoder>()> decoder;
  // The calls in the model's turn that a round left as a provider item.
  std::function<std::vector<AIFunctionCall>(const core::JSONValue& turn)> calls;
  // Appends `turn` and the turns that give `outputs` back to `continuation`.
  std::function<void(const core::JSONValue& turn, const std::vector<AIFunctionCallOutput>& outputs,
                     core::JSONValue::Array& continuation)>
      giveBack;
  // false: only the last round's items are kept with the message (a service
  // that cannot take a tool call back without its output).
  bool keepsEveryRound = true;
};

// Sends `request` with the bodies of `rounds` until the model answers without
// calling a tool (AIFunctionToolLoop), then emits the kept provider items and
// completed. Returns a round's failure as streamJSONEvents does; throws as it
// and AIFunctionToolLoop::answer do.
std::optional<AIStreamFailure> streamJSONEventsWithTools(AIHTTPClient& http, HTTPRequest request,
                                                         const AIStreamRequest& streamRequest,
                                                         bool takesNotesQuery, std::stop_token stop,
                                                         const AIJSONToolRounds& rounds,
                                                         const AIJSONStreamDecoder::Emit& emit);

}  // namespace zephyl::ai
