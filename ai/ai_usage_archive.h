// AIUsageArchive: the document of "ai-usage.json", per-day buckets of requests
// and reported tokens, and the pure rule that adds one request to it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ai/ai_usage_record.h"
#include "core/apple_time.h"
#include "core/json_value.h"

namespace zephyl::ai {

// One day, provider, model, kind and effort; keys are written in field order.
struct AIUsageBucket {
  std::string day;  // "2026-11-14" in the store's calendar
  AIProvider provider = AIProvider::kCodex;
  std::string model;
  AIUsageRequestKind kind = AIUsageRequestKind::kRequest;
  std::optional<ReasoningEffort> reasoningEffort;
  int64_t reportedTokens = 0;
  int64_t inputTokens = 0;
  int64_t cachedInputTokens = 0;
  int64_t outputTokens = 0;
  int64_t reasoningTokens = 0;
  int64_t requests = 0;
  int64_t requestsWithReportedUsage = 0;
  int64_t longestDurationMilliseconds = 0;

  // day|provider|model|kind|effort: two requests share a bucket when these match.
  std::string identity() const;

  // The stored object; "reasoningEffort" is left out when there is none.
  core::JSONValue toJSON() const;

  bool operator==(const AIUsageBucket&) const = default;
};

struct AIUsageArchive {
  static constexpr int64_t kSchemaVersion = 1;
  static constexpr size_t kMaximumSeenResponseIDs = 2000;

  int64_t schemaVersion = kSchemaVersion;
  core::TimePoint trackingBeganAt{};
  std::vector<AIUsageBucket> buckets;
  std::vector<std::string> seenResponseIDs;  // oldest first

  core::JSONValue toJSON() const;
  // toJSON().serialized(), written directly: the file is rewritten on every
  // record, and years of buckets made the document the cost of a record.
  std::string serialized() const;
  // Throws core::JSONValueError when `value` is not an archive (a missing key, a
  // wrong type, an unknown provider or kind, a newer schema).
  static AIUsageArchive fromJSON(const core::JSONValue& value);

  bool operator==(const AIUsageArchive&) const = default;
};

// Whole milliseconds of a duration, never negative.
int64_t durationMilliseconds(std::chrono::steady_clock::duration duration);

// Adds one request to its bucket of `day`, counting the usage of response ids
// not seen before and trimming the seen list to its newest 2,000.
void addUsageRecord(AIUsageArchive& archive, const AIUsageRecord& record, std::string_view day);

}  // namespace zephyl::ai
