#include "ai/ai_provider_availability.h"

#include <gtest/gtest.h>

#include "ai/ai_settings_keys.h"
#include "ai/environment_credential_store.h"
#include "core/json_settings_store.h"
#include "platform/testing/in_memory_credential_store.h"
#include "platform/testing/in_memory_file_system.h"

namespace zephyl::ai {
namespace {

class FakeAgentCLI : public AgentCLIAvailability {
 public:
  bool isInstalled() override { return installed; }
  bool isSignedIn() override { return signedIn; }
  bool installed = false;
  bool signedIn = false;
};

class AIProviderAvailabilityTest : public ::testing::Test {
 protected:
  AIProviderAvailability compute() { return AIProviderAvailability::compute(settings_, cli_, keychain_); }

  platform::testing::InMemoryFileSystem files_;
  core::JsonSettingsStore settings_{files_, "/settings.json"};
  platform::testing::InMemoryCredentialStore keychain_;
  FakeAgentCLI cli_;
};

TEST_F(AIProviderAvailabilityTest, KeysSwitchesAndAccountsDecide) {
  EXPECT_TRUE(compute().installedProviders.empty());
  keychain_.setSecret(std::string(kDeepSeekAPIKeyName), "sk-1");
  keychain_.setSecret(std::string(kOpenRouterAPIKeyName), "sk-2");
  settings_.setBool(std::string(kOpenRouterAIEnabledKey), false);
  keychain_.setSecret(std::string(kCloudflareWorkersAIAPITokenName), "token");  // no account id yet
  keychain_.setSecret(std::string(kChatGPTAccountTokensName), "{}");
  keychain_.setSecret(std::string(kOpenAIAPIKeyName), "  ");  // blank keys do not count
  cli_.installed = true;                                      // installed but not signed in

  const auto availability = compute();
  EXPECT_EQ(availability.installedProviders,
            (std::set<AIProvider>{AIProvider::kCodex, AIProvider::kDeepSeek}));
  EXPECT_FALSE(availability.openRouterConfigured);
  EXPECT_FALSE(availability.cloudflareConfigured);
  EXPECT_FALSE(availability.openAIConfigured);

  settings_.setString(std::string(kCloudflareWorkersAIAccountIDKey), "acct");
  cli_.signedIn = true;
  const auto later = compute();
  EXPECT_TRUE(later.isInstalled(AIProvider::kCloudflareWorkersAI));
  EXPECT_TRUE(later.isInstalled(AIProvider::kGemini));
  EXPECT_TRUE(later.antigravitySignedIn);
}

TEST_F(AIProviderAvailabilityTest, CloudflareNeedsTheTokenAndAnAccountIDFromEitherPlace) {
  const struct {
    bool tokenInEnvironment;
    std::optional<std::string> accountIDVariable;
    std::optional<std::string> accountIDSetting;
    bool ready;
  } cases[] = {
      {true, std::nullopt, std::nullopt, false}, {true, "acct", std::nullopt, true},
      {true, std::nullopt, "acct", true},        {true, "  ", std::nullopt, false},
      {false, "acct", std::nullopt, false},
  };
  for (const auto& test : cases) {
    platform::testing::InMemoryFileSystem files;
    core::JsonSettingsStore settings(files, "/settings.json");
    if (test.accountIDSetting)
      settings.setString(std::string(kCloudflareWorkersAIAccountIDKey), *test.accountIDSetting);
    platform::testing::InMemoryCredentialStore stored;
    EnvironmentCredentialStore credentials(stored,
                                           [&](const std::string& name) -> std::optional<std::string> {
                                             if (name == "CLOUDFLARE_API_TOKEN" && test.tokenInEnvironment)
                                               return "token";
                                             if (name == "CLOUDFLARE_ACCOUNT_ID")
                                               return test.accountIDVariable;
                                             return std::nullopt;
                                           });
    const auto availability = AIProviderAvailability::compute(settings, cli_, credentials);
    EXPECT_EQ(availability.isInstalled(AIProvider::kCloudflareWorkersAI), test.ready)
        << test.accountIDVariable.value_or("-") << " " << test.accountIDSetting.value_or("-");
  }
}

TEST_F(AIProviderAvailabilityTest, CustomProviderNeedsModelsAndItsKey) {
  settings_.setString(std::string(kCustomOpenAIProvidersKey),
                      R"([{"id":"lab","models":["qwen"]},{"id":"bare","models":[]}])");
  keychain_.setSecret(customOpenAIAPIKeyName("bare"), "k");
  EXPECT_FALSE(compute().isInstalled(AIProvider::kCustomOpenAI));
  keychain_.setSecret(customOpenAIAPIKeyName("lab"), "k");
  EXPECT_TRUE(compute().isInstalled(AIProvider::kCustomOpenAI));
}

}  // namespace
}  // namespace zephyl::ai
