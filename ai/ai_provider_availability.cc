#include "ai/ai_provider_availability.h"

#include "ai/ai_model_catalog.h"
#include "ai/ai_settings_keys.h"
#include "core/error.h"
#include "core/logger.h"

namespace zephyl::ai {
namespace {

constexpr core::Logger kLog("AIProviderAvailability");

bool switchOn(core::SettingsStore& settings, std::string_view key) {
  try {
    return settings.boolValue(std::string(key)).value_or(true);
  } catch (const core::Error& error) {
    kLog.warning() << "Setting " << key << " unreadable: " << error.description();
    return true;
  }
}

bool hasSecret(AICredentialStore& keychain, std::string_view name) {
  const auto value = keychain.secret(std::string(name));
  return value && value->find_first_not_of(" \t\r\n") != std::string::npos;
}

bool hasText(core::SettingsStore& settings, std::string_view key) {
  try {
    const auto value = settings.stringValue(std::string(key));
    return value && value->find_first_not_of(" \t\r\n") != std::string::npos;
  } catch (const core::Error&) {
    return false;
  }
}

}  // namespace

AIProviderAvailability AIProviderAvailability::compute(core::SettingsStore& userDefaults,
                                                       AgentCLIAvailability& cliAvailability,
                                                       AICredentialStore& keychain) {
  AIProviderAvailability availability;
  const AIUserModels userModels = AIUserModels::fromSettings(userDefaults);
  availability.cloudflareModels = userModels.cloudflareModels;
  availability.openRouterModels = userModels.openRouterModels;

  availability.chatGPTSignedIn = hasSecret(keychain, kChatGPTAccountTokensName);
  availability.xaiSignedIn =
      switchOn(userDefaults, kXAIAccountAIEnabledKey) && hasSecret(keychain, kXAIAccountTokensName);
  availability.antigravitySignedIn = cliAvailability.isInstalled() && cliAvailability.isSignedIn();
  availability.openAIConfigured =
      switchOn(userDefaults, kOpenAIAPIEnabledKey) && hasSecret(keychain, kOpenAIAPIKeyName);
  availability.googleConfigured = hasSecret(keychain, kGoogleAPIKeyName);
  availability.cloudflareConfigured = switchOn(userDefaults, kCloudflareWorkersAIEnabledKey) &&
                                      // CLOUDFLARE_ACCOUNT_ID arrives through the store, as for the adapter.
                                      (hasSecret(keychain, kCloudflareWorkersAIAccountIDKey) ||
                                       hasText(userDefaults, kCloudflareWorkersAIAccountIDKey)) &&
                                      hasSecret(keychain, kCloudflareWorkersAIAPITokenName);
  availability.openRouterConfigured =
      switchOn(userDefaults, kOpenRouterAIEnabledKey) && hasSecret(keychain, kOpenRouterAPIKeyName);
  availability.zaiCodingPlanConfigured =
      switchOn(userDefaults, kZAICodingPlanEnabledKey) && hasSecret(keychain, kZAICodingPlanAPIKeyName);
  availability.deepseekConfigured =
      switchOn(userDefaults, kDeepSeekAIEnabledKey) && hasSecret(keychain, kDeepSeekAPIKeyName);
  availability.openCodeConfigured = hasSecret(keychain, kOpenCodeAPIKeyName);

  auto add = [&](bool condition, AIProvider provider) {
    if (condition) availability.installedProviders.insert(provider);
  };
  add(availability.chatGPTSignedIn, AIProvider::kCodex);
  add(availability.openAIConfigured, AIProvider::kOpenAIAPI);
  // A custom provider counts once it offers a model and has its key.
  bool customReady = false;
  for (const auto& custom : userModels.customProviders) {
    if (!custom.models.empty() && hasSecret(keychain, customOpenAIAPIKeyName(custom.id))) customReady = true;
  }
  add(customReady, AIProvider::kCustomOpenAI);
  // An xAI API key serves the same provider where no account is signed in.
  add(availability.xaiSignedIn ||
          (switchOn(userDefaults, kXAIAccountAIEnabledKey) && hasSecret(keychain, kXAIAPIKeyName)),
      AIProvider::kXAIAccount);
  add(availability.antigravitySignedIn, AIProvider::kGemini);
  add(availability.googleConfigured, AIProvider::kGoogleAPI);
  add(availability.openRouterConfigured, AIProvider::kOpenRouter);
  add(availability.cloudflareConfigured, AIProvider::kCloudflareWorkersAI);
  add(availability.zaiCodingPlanConfigured, AIProvider::kZAICodingPlan);
  add(availability.deepseekConfigured, AIProvider::kDeepSeek);
  add(availability.openCodeConfigured, AIProvider::kOpenCode);
  return availability;
}

}  // namespace zephyl::ai
