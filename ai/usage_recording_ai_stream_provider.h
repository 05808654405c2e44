// UsageRecordingAIStreamProvider: forwards every event unchanged and hands the
// usage a service reported to a recorder (the usage store).
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "ai/ai_provider.h"
#include "ai/ai_reported_usage.h"
#include "ai/ai_stream_provider.h"
#include "ai/ai_usage_record.h"
#include "ai/monotonic_clock.h"
#include "ai/reasoning_effort.h"

namespace zephyl::ai {

class AIUsageRecorder {
 public:
  virtual ~AIUsageRecorder() = default;
  // Called on the stream's producer thread; implementations synchronise.
  virtual void record(const AIUsageRecord& record) = 0;
};

class UsageRecordingAIStreamProvider : public AIStreamProvider {
 public:
  // All three must outlive this provider. `resolveProvider` names the provider
  // of the request's model.
  UsageRecordingAIStreamProvider(AIStreamProvider& wrapped, AIUsageRecorder& recorder, MonotonicClock& clock,
                                 std::function<AIProvider(const std::string& model)> resolveProvider);

  // Records the request once when the stream ends (normally, with an error, or
  // cancelled), with every usageReported paired with the request id seen
  // before it, and the kind its performance context names.
  void produce(const AIStreamRequest& request, std::stop_token stop, const Emit& emit) override;

 private:
  AIStreamProvider& wrapped_;
  AIUsageRecorder& recorder_;
  MonotonicClock& clock_;
  std::function<AIProvider(const std::string&)> resolveProvider_;
};

}  // namespace zephyl::ai
