#include "ai/ai_provider_credentials.h"

#include "ai/ai_settings_keys.h"

namespace zephyl::ai {

std::optional<std::string_view> apiKeySecretName(AIProvider provider) {
  switch (provider) {
    case AIProvider::kOpenAIAPI:
      return kOpenAIAPIKeyName;
    case AIProvider::kXAIAccount:
      return kXAIAPIKeyName;
    case AIProvider::kGoogleAPI:
      return kGoogleAPIKeyName;
    case AIProvider::kOpenRouter:
      return kOpenRouterAPIKeyName;
    case AIProvider::kCloudflareWorkersAI:
      return kCloudflareWorkersAIAPITokenName;
    case AIProvider::kZAICodingPlan:
      return kZAICodingPlanAPIKeyName;
    case AIProvider::kDeepSeek:
      return kDeepSeekAPIKeyName;
    case AIProvider::kOpenCode:
      return kOpenCodeAPIKeyName;
    case AIProvider::kCodex:
    case AIProvider::kCustomOpenAI:
    case AIProvider::kGemini:
      return std::nullopt;
  }
  return std::nullopt;
}

std::optional<std::string_view> accountTokensSecretName(AIProvider provider) {
  if (provider == AIProvider::kCodex) return kChatGPTAccountTokensName;
  if (provider == AIProvider::kXAIAccount) return kXAIAccountTokensName;
  return std::nullopt;
}

}  // namespace zephyl::ai
