// AIStreamProvider: the one contract every AI service stands behind. A provider
// produces the AIStreamEvent values of one request; stream() runs it on its own
// thread, and the consumer pulls events, cancelling ends the producer.
#pragma once

#include <stop_token>

#include "ai/ai_stream_event.h"
#include "ai/ai_stream_request.h"
#include "core/event_stream.h"

namespace zephyl::ai {

class AIStreamProvider {
 public:
  using Emit = core::EventStream<AIStreamEvent>::Emit;

  virtual ~AIStreamProvider() = default;

  // Emits the events of `request` in order on the calling thread, returns after
  // the last, throws the failure that ends the stream (core::CancellationError
  // once `stop` is requested). Wrappers call their wrapped provider's produce()
  // directly, so a wrapped stream needs no thread of its own.
  virtual void produce(const AIStreamRequest& request, std::stop_token stop, const Emit& emit) = 0;

  // The events of `request` as a stream. The provider must outlive the stream.
  core::EventStream<AIStreamEvent> stream(AIStreamRequest request) {
    return core::EventStream<AIStreamEvent>(
        [this, request = std::move(request)](std::stop_token stop, const Emit& emit) {
          produce(request, std::move(stop), emit);
        });
  }
};

}  // namespace zephyl::ai
