// AIModelProfile: a model of the Antigravity agent. Its display name is also its
// model id; the agent itself is told a different identifier per effort.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ai/reasoning_effort.h"

namespace zephyl::ai {

struct AIModelProfile {
  std::string model;  // display name and model id
  std::map<ReasoningEffort, std::string> acpModelIDs;
  ReasoningEffort defaultReasoningEffort = ReasoningEffort::kMedium;

  // The profile of Gemini `version` Flash ("3.8" gives "Gemini 3.8 Flash" with
  // "gemini-3.8-flash-low", "-medium" and "-high").
  static AIModelProfile flash(std::string_view version);

  bool operator==(const AIModelProfile&) const = default;
};

// The built-in profiles, in picker order.
const std::vector<AIModelProfile>& builtInAIModelProfiles();

// `name` rewritten by the legacy-name map when an earlier version stored it,
// else `name` unchanged.
std::string_view canonicalAntigravityModelName(std::string_view name);

// The profile that `name` names once legacy names are mapped, or null.
const AIModelProfile* antigravityProfile(std::string_view name);

}  // namespace zephyl::ai
