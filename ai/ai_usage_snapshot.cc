#include "ai/ai_usage_snapshot.h"

#include <algorithm>
#include <map>
#include <tuple>

namespace zephyl::ai {

AIUsageSnapshot makeUsageSnapshot(const AIUsageArchive& archive) {
  AIUsageSnapshot snapshot;
  snapshot.trackingBeganAt = archive.trackingBeganAt;
  snapshot.buckets = archive.buckets;

  std::map<std::string, AIUsageDayTotal> days;  // "yyyy-MM-dd" sorts by date
  std::map<std::pair<AIProvider, std::string>, AIUsageModelSummary> models;
  for (const auto& bucket : archive.buckets) {
    auto& day = days[bucket.day];
    day.day = bucket.day;
    day.reportedTokens += bucket.reportedTokens;
    day.requests += bucket.requests;

    auto& model = models[{bucket.provider, bucket.model}];
    model.provider = bucket.provider;
    model.model = bucket.model;
    model.requests += bucket.requests;
    model.requestsWithReportedUsage += bucket.requestsWithReportedUsage;
    model.reportedTokens += bucket.reportedTokens;
    model.inputTokens += bucket.inputTokens;
    model.cachedInputTokens += bucket.cachedInputTokens;
    model.outputTokens += bucket.outputTokens;
    model.reasoningTokens += bucket.reasoningTokens;
  }
  for (auto& [name, day] : days) snapshot.days.push_back(std::move(day));
  for (auto& [key, model] : models) snapshot.models.push_back(std::move(model));
  std::stable_sort(snapshot.models.begin(), snapshot.models.end(), [](const auto& a, const auto& b) {
    return std::tie(b.reportedTokens, b.requests) < std::tie(a.reportedTokens, a.requests);
  });
  return snapshot;
}

}  // namespace zephyl::ai
