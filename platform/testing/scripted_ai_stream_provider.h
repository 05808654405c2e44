// An AI stream provider that plays a script: it keeps each request, emits its
// events (advancing `clock` a second before each, when set), then throws
// `failure` if set, or, when `waitForStop`, stalls until it is cancelled.
// Test use only.
#pragma once

#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <stop_token>
#include <vector>

#include "ai/ai_stream_provider.h"
#include "core/error.h"
#include "platform/testing/fake_monotonic_clock.h"

namespace zephyl::platform::testing {

class ScriptedAIStreamProvider : public ai::AIStreamProvider {
 public:
  void produce(const ai::AIStreamRequest& request, std::stop_token stop, const Emit& emit) override {
    requests.push_back(request);
    for (const ai::AIStreamEvent& event : events) {
      if (clock != nullptr) clock->advance(std::chrono::seconds(1));
      emit(event);
    }
    if (failure) std::rethrow_exception(failure);
    if (waitForStop) {
      std::mutex mutex;
      std::condition_variable_any never;
      std::unique_lock lock(mutex);
      never.wait(lock, stop, [] { return false; });
      throw core::CancellationError();
    }
  }

  std::vector<ai::AIStreamEvent> events;
  std::exception_ptr failure;
  bool waitForStop = false;
  FakeMonotonicClock* clock = nullptr;
  std::vector<ai::AIStreamRequest> requests;  // written by the producer; read once it has ended
};

}  // namespace zephyl::platform::testing
