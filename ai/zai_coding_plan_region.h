// The Z.ai coding plan's region; it selects the endpoint host.
#pragma once

#include <optional>
#include <string_view>

namespace zephyl::ai {

enum class ZAICodingPlanRegion { kGlobal, kChina };

constexpr std::string_view rawValue(ZAICodingPlanRegion region) {
  switch (region) {
    case ZAICodingPlanRegion::kGlobal:
      return "global";
    case ZAICodingPlanRegion::kChina:
      return "china";
  }
  return {};
}

// Shown in settings; English is the only localisation on Linux.
constexpr std::string_view label(ZAICodingPlanRegion region) {
  switch (region) {
    case ZAICodingPlanRegion::kGlobal:
      return "Global";
    case ZAICodingPlanRegion::kChina:
      return "China";
  }
  return {};
}

// The base URL of the plan's Chat Completions endpoint in that region.
constexpr std::string_view endpointBaseURL(ZAICodingPlanRegion region) {
  switch (region) {
    case ZAICodingPlanRegion::kGlobal:
      return "https://api.z.ai/api/coding/paas/v4";
    case ZAICodingPlanRegion::kChina:
      return "https://open.bigmodel.cn/api/coding/paas/v4";
  }
  return {};
}

constexpr std::optional<ZAICodingPlanRegion> zaiCodingPlanRegionFromRawValue(std::string_view text) {
  if (text == "global") return ZAICodingPlanRegion::kGlobal;
  if (text == "china") return ZAICodingPlanRegion::kChina;
  return std::nullopt;
}

}  // namespace zephyl::ai
