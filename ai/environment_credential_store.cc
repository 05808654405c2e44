#include "ai/environment_credential_store.h"

#include "ai/ai_settings_keys.h"
#include "ai/web_search_service_keys.h"

namespace zephyl::ai {

std::vector<std::string> environmentVariablesForSecret(const std::string& secretName) {
  if (secretName == kOpenAIAPIKeyName) return {"OPENAI_API_KEY"};
  if (secretName == kGoogleAPIKeyName) return {"GEMINI_API_KEY", "GOOGLE_API_KEY"};
  if (secretName == kDeepSeekAPIKeyName) return {"DEEPSEEK_API_KEY"};
  if (secretName == kOpenRouterAPIKeyName) return {"OPENROUTER_API_KEY"};
  if (secretName == kCloudflareWorkersAIAPITokenName) return {"CLOUDFLARE_API_TOKEN"};
  // Not a secret, but it travels with the token and is read the same way.
  if (secretName == kCloudflareWorkersAIAccountIDKey) return {"CLOUDFLARE_ACCOUNT_ID"};
  if (secretName == kZAICodingPlanAPIKeyName) return {"ZAI_API_KEY"};
  if (secretName == kOpenCodeAPIKeyName) return {"OPENCODE_API_KEY"};
  if (secretName == kXAIAPIKeyName) return {"XAI_API_KEY"};
  if (secretName == kWebSearchServiceKeyName) return {"ZEPHYL_WEB_SEARCH_KEY"};
  if (secretName.starts_with(customOpenAIAPIKeyName(""))) return {"ZEPHYL_CUSTOM_OPENAI_API_KEY"};
  return {};
}

std::string environmentVariableFor(std::string_view secretName) {
  const auto variables = environmentVariablesForSecret(std::string(secretName));
  return variables.empty() ? std::string() : variables.front();
}

EnvironmentCredentialStore::EnvironmentCredentialStore(AICredentialStore& stored,
                                                       core::EnvironmentLookup environment)
    : stored_(stored), environment_(std::move(environment)) {}

std::optional<std::string> EnvironmentCredentialStore::environmentSource(const std::string& name) const {
  for (const auto& variable : environmentVariablesForSecret(name)) {
    if (auto value = environment_(variable); value && !value->empty()) return variable;
  }
  return std::nullopt;
}

std::optional<std::string> EnvironmentCredentialStore::secret(const std::string& name) {
  if (auto variable = environmentSource(name)) return environment_(*variable);
  return stored_.secret(name);
}

void EnvironmentCredentialStore::setSecret(const std::string& name, const std::string& value) {
  stored_.setSecret(name, value);
}

void EnvironmentCredentialStore::removeSecret(const std::string& name) { stored_.removeSecret(name); }

}  // namespace zephyl::ai
