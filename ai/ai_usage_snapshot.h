// AIUsageSnapshot: read-only views of the usage buckets for display, daily
// totals for the heat map and totals per model.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ai/ai_usage_archive.h"

namespace zephyl::ai {

struct AIUsageDayTotal {
  std::string day;  // "2026-11-14"
  int64_t reportedTokens = 0;
  int64_t requests = 0;

  bool operator==(const AIUsageDayTotal&) const = default;
};

struct AIUsageModelSummary {
  AIProvider provider = AIProvider::kCodex;
  std::string model;
  int64_t requests = 0;
  int64_t requestsWithReportedUsage = 0;
  int64_t reportedTokens = 0;
  int64_t inputTokens = 0;
  int64_t cachedInputTokens = 0;
  int64_t outputTokens = 0;
  int64_t reasoningTokens = 0;

  bool operator==(const AIUsageModelSummary&) const = default;
};

struct AIUsageSnapshot {
  core::TimePoint trackingBeganAt{};
  std::vector<AIUsageBucket> buckets;  // as stored
  std::vector<AIUsageDayTotal> days;   // days with any request, oldest first
  // One per provider and model, most reported tokens first, then most requests.
  std::vector<AIUsageModelSummary> models;
};

AIUsageSnapshot makeUsageSnapshot(const AIUsageArchive& archive);

}  // namespace zephyl::ai
