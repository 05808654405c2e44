// The OpenCode plan: which model list is offered and which endpoint is used.
#pragma once

#include <optional>
#include <string_view>

namespace zephyl::ai {

enum class OpenCodePlan { kGo, kZen };

constexpr std::string_view rawValue(OpenCodePlan plan) {
  switch (plan) {
    case OpenCodePlan::kGo:
      return "go";
    case OpenCodePlan::kZen:
      return "zen";
  }
  return {};
}

constexpr std::string_view endpointBaseURL(OpenCodePlan plan) {
  switch (plan) {
    case OpenCodePlan::kGo:
      return "https://opencode.ai/zen/go/v1";
    case OpenCodePlan::kZen:
      return "https://opencode.ai/zen/v1";
  }
  return {};
}

constexpr std::optional<OpenCodePlan> openCodePlanFromRawValue(std::string_view text) {
  if (text == "go") return OpenCodePlan::kGo;
  if (text == "zen") return OpenCodePlan::kZen;
  return std::nullopt;
}

}  // namespace zephyl::ai
