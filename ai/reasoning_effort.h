// How hard a model thinks before it answers. The raw value is what the service
// adapters send as the effort.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace zephyl::ai {

enum class ReasoningEffort { kNone, kLow, kMedium, kHigh, kXHigh, kMax };

inline constexpr std::array<ReasoningEffort, 6> kAllReasoningEfforts = {
    ReasoningEffort::kNone, ReasoningEffort::kLow,   ReasoningEffort::kMedium,
    ReasoningEffort::kHigh, ReasoningEffort::kXHigh, ReasoningEffort::kMax};

constexpr std::string_view rawValue(ReasoningEffort effort) {
  switch (effort) {
    case ReasoningEffort::kNone:
      return "none";
    case ReasoningEffort::kLow:
      return "low";
    case ReasoningEffort::kMedium:
      return "medium";
    case ReasoningEffort::kHigh:
      return "high";
    case ReasoningEffort::kXHigh:
      return "xhigh";
    case ReasoningEffort::kMax:
      return "max";
  }
  return {};
}

// The effort whose raw value is `text`, or nullopt (a stored value from a newer
// version reads as no choice).
constexpr std::optional<ReasoningEffort> reasoningEffortFromRawValue(std::string_view text) {
  for (ReasoningEffort effort : kAllReasoningEfforts) {
    if (rawValue(effort) == text) return effort;
  }
  return std::nullopt;
}

}  // namespace zephyl::ai
