// The settings keys of the AI layer (flat keys of the settings store) and the
// names under which secrets live in the credential store, never in settings.
#pragma once

#include <string>
#include <string_view>

namespace zephyl::ai {

// Model and effort choices.
inline constexpr std::string_view kAssistantSelectedModelKey = "AIAssistantPanelState.selectedModel";
inline constexpr std::string_view kInlineAISelectedModelKey = "InlineAIService.selectedModel";
inline constexpr std::string_view kInlineAILastUsedModelKey = "InlineAIService.lastUsedModel";
inline constexpr std::string_view kAutoChatTitleModelKey = "autoChatTitleModel";
inline constexpr std::string_view kAssistantReasoningEffortKey = "assistantReasoningEffort";
inline constexpr std::string_view kInlineAIReasoningEffortKey = "inlineAIReasoningEffort";
inline constexpr std::string_view kAutoChatTitleReasoningEffortKey = "autoChatTitleReasoningEffort";
// Stored as a selected model: use whichever model was used last.
inline constexpr std::string_view kLastUsedModelSentinel = "__lastUsedModel__";

// Provider switches and provider settings.
inline constexpr std::string_view kOpenAIAPIEnabledKey = "openAIAPIEnabled";
inline constexpr std::string_view kXAIAccountAIEnabledKey = "xaiAccountAIEnabled";
inline constexpr std::string_view kCloudflareWorkersAIEnabledKey = "cloudflareWorkersAIEnabled";
inline constexpr std::string_view kCloudflareWorkersAIAccountIDKey = "cloudflareWorkersAIAccountID";
inline constexpr std::string_view kCloudflareWorkersAIModelsKey = "cloudflareWorkersAIModels";
inline constexpr std::string_view kOpenRouterAIEnabledKey = "openRouterAIEnabled";
inline constexpr std::string_view kOpenRouterAIModelsKey = "openRouterAIModels";
// A JSON array of {"id", "name", "baseURL", "models": [...]}, stored as the
// array itself or as text holding it.
inline constexpr std::string_view kCustomOpenAIProvidersKey = "customOpenAIProviders";
inline constexpr std::string_view kZAICodingPlanEnabledKey = "zaiCodingPlanEnabled";
inline constexpr std::string_view kZAICodingPlanRegionKey = "zaiCodingPlanRegion";
inline constexpr std::string_view kDeepSeekAIEnabledKey = "deepseekAIEnabled";
inline constexpr std::string_view kOpenCodePlanKey = "openCodePlan";
inline constexpr std::string_view kContextLimitTokensKey = "contextLimitTokens";

// Account sign-in. The ChatGPT defaults are the issuer's real ones; the xAI
// device flow has none that could be confirmed, so its keys have no default.
inline constexpr std::string_view kChatGPTOAuthIssuerKey = "chatGPTOAuthIssuer";
inline constexpr std::string_view kChatGPTOAuthClientIDKey = "chatGPTOAuthClientID";
// An array of ports, tried in order; 0 takes any free port.
inline constexpr std::string_view kChatGPTOAuthCallbackPortsKey = "chatGPTOAuthCallbackPorts";
inline constexpr std::string_view kXAIOAuthDeviceAuthorizationURLKey = "xaiOAuthDeviceAuthorizationURL";
inline constexpr std::string_view kXAIOAuthTokenURLKey = "xaiOAuthTokenURL";
inline constexpr std::string_view kXAIOAuthClientIDKey = "xaiOAuthClientID";
inline constexpr std::string_view kXAIOAuthScopeKey = "xaiOAuthScope";

// Credential store names.
inline constexpr std::string_view kDeepSeekAPIKeyName = "deepseekAIAPIKey";
inline constexpr std::string_view kOpenRouterAPIKeyName = "openRouterAIAPIKey";
inline constexpr std::string_view kCloudflareWorkersAIAPITokenName = "cloudflareWorkersAIAPIToken";
inline constexpr std::string_view kOpenAIAPIKeyName = "openAIAPIKey";
inline constexpr std::string_view kGoogleAPIKeyName = "googleAIAPIKey";
inline constexpr std::string_view kZAICodingPlanAPIKeyName = "zaiCodingPlanAPIKey";
inline constexpr std::string_view kOpenCodeAPIKeyName = "openCodeAPIKey";
inline constexpr std::string_view kChatGPTAccountTokensName = "chatGPTAccountTokens";
inline constexpr std::string_view kXAIAccountTokensName = "xaiAccountTokens";
// An xAI API key serves the xAI provider where no account is signed in.
inline constexpr std::string_view kXAIAPIKeyName = "xaiAPIKey";

inline std::string customOpenAIAPIKeyName(std::string_view providerID) {
  return "customOpenAIAPIKey." + std::string(providerID);
}

}  // namespace zephyl::ai
