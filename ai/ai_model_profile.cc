#include "ai/ai_model_profile.h"

#include <array>
#include <utility>

namespace zephyl::ai {

AIModelProfile AIModelProfile::flash(std::string_view version) {
  const std::string base = "gemini-" + std::string(version) + "-flash";
  return AIModelProfile{
      .model = "Gemini " + std::string(version) + " Flash",
      .acpModelIDs = {{ReasoningEffort::kLow, base + "-low"},
                      {ReasoningEffort::kMedium, base + "-medium"},
                      {ReasoningEffort::kHigh, base + "-high"}},
      .defaultReasoningEffort = ReasoningEffort::kMedium,
  };
}

const std::vector<AIModelProfile>& builtInAIModelProfiles() {
  static const std::vector<AIModelProfile> profiles = {
      AIModelProfile::flash("3.8"),
      AIModelProfile::flash("3.7"),
      AIModelProfile::flash("3.6"),
      AIModelProfile{
          .model = "Gemini 3.1 Pro",
          .acpModelIDs = {{ReasoningEffort::kLow, "gemini-3.1-pro-low"},
                          {ReasoningEffort::kHigh, "gemini-pro-agent"}},
          .defaultReasoningEffort = ReasoningEffort::kHigh,
      },
  };
  return profiles;
}

std::string_view canonicalAntigravityModelName(std::string_view name) {
  static constexpr std::array<std::pair<std::string_view, std::string_view>, 6> kLegacyNames = {{
      {"gemini-3.1-pro-preview", "Gemini 3.1 Pro"},
      {"Gemini 3.5 Flash", "Gemini 3.8 Flash"},
      {"gemini-3-flash-preview", "Gemini 3.8 Flash"},
      {"Claude Sonnet 4.6 (Thinking)", "Gemini 3.8 Flash"},
      {"Claude Opus 4.6 (Thinking)", "Gemini 3.8 Flash"},
      {"GPT-OSS 120B", "Gemini 3.8 Flash"},
  }};
  for (const auto& [legacy, current] : kLegacyNames) {
    if (legacy == name) return current;
  }
  return name;
}

const AIModelProfile* antigravityProfile(std::string_view name) {
  const std::string_view canonical = canonicalAntigravityModelName(name);
  for (const auto& profile : builtInAIModelProfiles()) {
    if (profile.model == canonical) return &profile;
  }
  return nullptr;
}

}  // namespace zephyl::ai
