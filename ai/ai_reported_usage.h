// AIReportedUsage: the token counts a service reported for one request, each
// absent when the service did not report it; and the parser shared by every
// adapter that receives usage as JSON.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/json_value.h"

namespace zephyl::ai {

struct AIReportedUsage {
  std::optional<int64_t> inputTokens;
  std::optional<int64_t> cachedInputTokens;
  std::optional<int64_t> outputTokens;
  std::optional<int64_t> reasoningTokens;
  std::optional<int64_t> totalTokens;

  bool operator==(const AIReportedUsage&) const = default;

  // An object with the same key names; absent counts are left out.
  core::JSONValue toJSON() const;
  static AIReportedUsage fromJSON(const core::JSONValue& value);
};

// The usage found in a service's JSON message and the id of the response it
// belongs to.
struct AIUsageReport {
  AIReportedUsage usage;
  std::optional<std::string> responseID;

  bool operator==(const AIUsageReport&) const = default;
};

// Finds "usage" inside "response", else inside "result", else at the top, and
// reads the counts under the names the different APIs use (integers or whole
// doubles). Nullopt when there is no usage object or it holds none of them.
std::optional<AIUsageReport> parseReportedUsage(const core::JSONValue& message);

}  // namespace zephyl::ai
