// AIProvider: the closed set of services that answer AI requests. The order of
// the cases is the order in which a model id is searched for in the built-in
// model lists.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace zephyl::ai {

enum class AIProvider {
  kCodex,
  kOpenAIAPI,
  kCustomOpenAI,
  kXAIAccount,
  kGemini,
  kGoogleAPI,
  kOpenRouter,
  kCloudflareWorkersAI,
  kZAICodingPlan,
  kDeepSeek,
  kOpenCode,
};

inline constexpr std::array<AIProvider, 11> kAllAIProviders = {
    AIProvider::kCodex,         AIProvider::kOpenAIAPI,
    AIProvider::kCustomOpenAI,  AIProvider::kXAIAccount,
    AIProvider::kGemini,        AIProvider::kGoogleAPI,
    AIProvider::kOpenRouter,    AIProvider::kCloudflareWorkersAI,
    AIProvider::kZAICodingPlan, AIProvider::kDeepSeek,
    AIProvider::kOpenCode};

// How a provider is reached; picks the service adapter.
enum class AITransportFamily {
  kChatGPTAccountResponses,  // ChatGPT account (OAuth), Responses API
  kOpenAIAPIKeyResponses,    // OpenAI API key, Responses API
  kCustomChatCompletions,    // user-defined OpenAI-compatible endpoint
  kXAIAccountResponses,      // xAI account (OAuth device code), Responses API
  kAntigravityAgent,         // the Antigravity agent over ACP
  kGoogleGenerateContent,    // Google generateContent with an API key
  kChatCompletions,          // a hosted Chat Completions service
  kOpenCodeGateway,
};

// "codex", "openAIAPI", ... as stored in settings and usage records.
std::string_view rawValue(AIProvider provider);
std::optional<AIProvider> aiProviderFromRawValue(std::string_view text);

// The provider's name in pickers and settings rows.
std::string_view brandLabel(AIProvider provider);
// The company that made the provider's models; groups models in pickers.
std::string_view vendorLabel(AIProvider provider);

AITransportFamily transportFamily(AIProvider provider);

// The provider's default model id; none for customOpenAI, whose models are the user's.
std::optional<std::string_view> defaultModel(AIProvider provider);

}  // namespace zephyl::ai
