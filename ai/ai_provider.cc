#include "ai/ai_provider.h"

namespace zephyl::ai {

std::string_view rawValue(AIProvider provider) {
  switch (provider) {
    case AIProvider::kCodex:
      return "codex";
    case AIProvider::kOpenAIAPI:
      return "openAIAPI";
    case AIProvider::kCustomOpenAI:
      return "customOpenAI";
    case AIProvider::kXAIAccount:
      return "xaiAccount";
    case AIProvider::kGemini:
      return "gemini";
    case AIProvider::kGoogleAPI:
      return "googleAPI";
    case AIProvider::kOpenRouter:
      return "openRouter";
    case AIProvider::kCloudflareWorkersAI:
      return "cloudflareWorkersAI";
    case AIProvider::kZAICodingPlan:
      return "zaiCodingPlan";
    case AIProvider::kDeepSeek:
      return "deepseek";
    case AIProvider::kOpenCode:
      return "opencode";
  }
  return {};
}

std::optional<AIProvider> aiProviderFromRawValue(std::string_view text) {
  for (AIProvider provider : kAllAIProviders) {
    if (rawValue(provider) == text) return provider;
  }
  return std::nullopt;
}

std::string_view brandLabel(AIProvider provider) {
  switch (provider) {
    // The two OpenAI providers differ only in how they sign in.
    case AIProvider::kCodex:
      return "ChatGPT";
    case AIProvider::kOpenAIAPI:
      return "ChatGPT";
    // "Custom" and "GLM Coding Plan" are localised; English is the only language on Linux.
    case AIProvider::kCustomOpenAI:
      return "Custom";
    case AIProvider::kXAIAccount:
      return "Grok";
    case AIProvider::kGemini:
      return "Antigravity";
    case AIProvider::kGoogleAPI:
      return "Google";
    case AIProvider::kOpenRouter:
      return "OpenRouter";
    case AIProvider::kCloudflareWorkersAI:
      return "Cloudflare Workers AI";
    case AIProvider::kZAICodingPlan:
      return "GLM Coding Plan";
    case AIProvider::kDeepSeek:
      return "DeepSeek";
    case AIProvider::kOpenCode:
      return "OpenCode";
  }
  return {};
}

std::string_view vendorLabel(AIProvider provider) {
  switch (provider) {
    case AIProvider::kCodex:
      return "OpenAI";
    case AIProvider::kOpenAIAPI:
      return "OpenAI";
    case AIProvider::kCustomOpenAI:
      return "Custom";
    case AIProvider::kXAIAccount:
      return "xAI";
    case AIProvider::kGemini:
      return "Google";
    case AIProvider::kGoogleAPI:
      return "Google";
    case AIProvider::kOpenRouter:
      return "OpenRouter";
    case AIProvider::kCloudflareWorkersAI:
      return "Cloudflare";
    case AIProvider::kZAICodingPlan:
      return "GLM";
    case AIProvider::kDeepSeek:
      return "DeepSeek";
    case AIProvider::kOpenCode:
      return "OpenCode";
  }
  return {};
}

AITransportFamily transportFamily(AIProvider provider) {
  switch (provider) {
    case AIProvider::kCodex:
      return AITransportFamily::kChatGPTAccountResponses;
    case AIProvider::kOpenAIAPI:
      return AITransportFamily::kOpenAIAPIKeyResponses;
    case AIProvider::kCustomOpenAI:
      return AITransportFamily::kCustomChatCompletions;
    case AIProvider::kXAIAccount:
      return AITransportFamily::kXAIAccountResponses;
    case AIProvider::kGemini:
      return AITransportFamily::kAntigravityAgent;
    case AIProvider::kGoogleAPI:
      return AITransportFamily::kGoogleGenerateContent;
    case AIProvider::kOpenRouter:
      return AITransportFamily::kChatCompletions;
    case AIProvider::kCloudflareWorkersAI:
      return AITransportFamily::kChatCompletions;
    case AIProvider::kZAICodingPlan:
      return AITransportFamily::kChatCompletions;
    case AIProvider::kDeepSeek:
      return AITransportFamily::kChatCompletions;
    case AIProvider::kOpenCode:
      return AITransportFamily::kOpenCodeGateway;
  }
  return AITransportFamily::kChatCompletions;
}

std::optional<std::string_view> defaultModel(AIProvider provider) {
  switch (provider) {
    case AIProvider::kCodex:
      return "gpt-6-sol";
    case AIProvider::kOpenAIAPI:
      return "openai:gpt-6-sol";
    case AIProvider::kCustomOpenAI:
      return std::nullopt;
    case AIProvider::kXAIAccount:
      return "grok-4.7";
    case AIProvider::kGemini:
      return "Gemini 3.8 Flash";
    case AIProvider::kGoogleAPI:
      return "google:gemini-3.8-flash";
    case AIProvider::kOpenRouter:
      return "openrouter:openrouter/auto";
    case AIProvider::kCloudflareWorkersAI:
      return "cloudflare:google/gemini-3.7-flash";
    case AIProvider::kZAICodingPlan:
      return "zai:glm-5.3";
    case AIProvider::kDeepSeek:
      return "deepseek:deepseek-flash";
    case AIProvider::kOpenCode:
      return "opencode:glm-5.3";
  }
  return std::nullopt;
}

}  // namespace zephyl::ai
