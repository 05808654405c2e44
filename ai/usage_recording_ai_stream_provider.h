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
#include "ai/monotonic_clock.h"
#include "ai/reasoning_effort.h"

namespace zephyl::ai {

// One request's usage as the usage store takes it.
struct AIUsageRecord {
  AIProvider provider = AIProvider::kCodex;
  std::string model;
  std::string requestKind;  // from the request's performance context; empty if none
  std::optional<ReasoningEffort> reasoningEffort;
  AIReportedUsage usage;
  std::optional<std::string> responseID;  // the store counts each response once
  std::chrono::steady_clock::duration duration{};

  bool operator==(const AIUsageRecord&) const = default;
};

class AIUsageRecorder {
 public:
  virtual ~AIUsageRecorder() = default;
  // Called on the stream's producer thread; implementations synchronise.
  virtual void record(const AIUsageRecord& record) = 0;
};

// Stands in until the usage store exists: drops what it is given.
class DroppingAIUsageRecorder : public AIUsageRecorder {
 public:
  void record(const AIUsageRecord&) override {}
};

class UsageRecordingAIStreamProvider : public AIStreamProvider {
 public:
  // All three must outlive this provider. `resolveProvider` names the provider
  // of the request's model.
  UsageRecordingAIStreamProvider(AIStreamProvider& wrapped, AIUsageRecorder& recorder, MonotonicClock& clock,
                                 std::function<AIProvider(const std::string& model)> resolveProvider);

  // Records once when the stream ends (normally, with an error, or cancelled)
  // if usage was reported: the last usageReported counts with the last request id.
  void produce(const AIStreamRequest& request, std::stop_token stop, const Emit& emit) override;

 private:
  AIStreamProvider& wrapped_;
  AIUsageRecorder& recorder_;
  MonotonicClock& clock_;
  std::function<AIProvider(const std::string&)> resolveProvider_;
};

}  // namespace zephyl::ai
