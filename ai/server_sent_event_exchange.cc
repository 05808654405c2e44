#include "ai/server_sent_event_exchange.h"

namespace zephyl::ai {
namespace {

// Thrown out of the body callback to abandon the transfer after a terminal
// event; never leaves this file.
struct TerminalEventReached {};

}  // namespace

SSEExchangeEnd exchangeServerSentEvents(AIHTTPClient& client, const HTTPRequest& request,
                                        const AITransportRetryPolicy& policy, bool safeToRepeat,
                                        std::stop_token stop,
                                        const std::function<SSEEventOutcome(const SSEEvent&)>& onEvent) {
  SSEReader reader;
  const auto handle = [&](const std::vector<SSEEvent>& events) {
    for (const SSEEvent& event : events) {
      if (stop.stop_requested()) throw core::CancellationError();
      if (onEvent(event) == SSEEventOutcome::kEndOfStream) throw TerminalEventReached{};
    }
  };
  try {
    client.send(request, policy, safeToRepeat, stop, [&](std::string_view bytes) {
      if (stop.stop_requested()) throw core::CancellationError();
      handle(reader.feed(bytes));
    });
    handle(reader.finish());
  } catch (const TerminalEventReached&) {
    return SSEExchangeEnd::kTerminalEvent;
  }
  return SSEExchangeEnd::kEndOfBody;
}

}  // namespace zephyl::ai
