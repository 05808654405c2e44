#include "ai/usage_recording_ai_stream_provider.h"

#include "core/logger.h"

namespace zephyl::ai {
namespace {

constexpr core::Logger kLog("UsageRecordingAIStreamProvider");

}  // namespace

UsageRecordingAIStreamProvider::UsageRecordingAIStreamProvider(
    AIStreamProvider& wrapped, AIUsageRecorder& recorder, MonotonicClock& clock,
    std::function<AIProvider(const std::string& model)> resolveProvider)
    : wrapped_(wrapped), recorder_(recorder), clock_(clock), resolveProvider_(std::move(resolveProvider)) {}

void UsageRecordingAIStreamProvider::produce(const AIStreamRequest& request, std::stop_token stop,
                                             const Emit& emit) {
  const auto start = clock_.now();
  std::vector<AIUsageReport> reports;
  std::optional<std::string> responseID;
  auto recordUsage = [&] {
    AIUsageRecord record{
        .provider = resolveProvider_(request.model),
        .model = request.model,
        .kind =
            usageKindOfPerformanceKind(request.performanceContext ? request.performanceContext->kind : ""),
        .reasoningEffort = request.reasoningEffort,
        .reports = std::move(reports),
        .duration = clock_.now() - start,
    };
    try {
      recorder_.record(record);
    } catch (const std::exception& error) {
      // Losing one usage record must not fail the answer the user is reading.
      kLog.error() << "Usage not recorded: " << error.what();
    }
  };
  try {
    wrapped_.produce(request, stop, [&](AIStreamEvent event) {
      if (const auto* id = event.as<AIStreamEvent::RequestID>()) responseID = id->id;
      if (const auto* reported = event.as<AIStreamEvent::UsageReported>()) {
        reports.push_back({reported->usage, responseID});
      }
      emit(std::move(event));
    });
  } catch (...) {
    recordUsage();
    throw;
  }
  recordUsage();
}

}  // namespace zephyl::ai
