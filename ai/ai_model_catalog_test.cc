#include "ai/ai_model_catalog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "ai/ai_model_profile.h"
#include "ai/ai_settings_keys.h"
#include "core/json_settings_store.h"
#include "platform/testing/in_memory_file_system.h"

namespace zephyl::ai {
namespace {

// The raw values are stored in settings and usage files; the labels are fixed texts.
TEST(AIProvider, RawValuesRoundTripInEnumerationOrder) {
  std::vector<std::string_view> raw;
  for (AIProvider provider : kAllAIProviders) {
    raw.push_back(rawValue(provider));
    EXPECT_EQ(aiProviderFromRawValue(raw.back()), provider);
  }
  EXPECT_EQ(raw, (std::vector<std::string_view>{"codex", "openAIAPI", "customOpenAI", "xaiAccount", "gemini",
                                                "googleAPI", "openRouter", "cloudflareWorkersAI",
                                                "zaiCodingPlan", "deepseek", "opencode"}));
  EXPECT_FALSE(aiProviderFromRawValue("Codex"));
}

TEST(AIModelCatalog, ResolvesModelIdsToProviders) {
  const AIModelCatalog catalog(AIUserModels{.cloudflareModels = {"cloudflare:@cf/user/model"},
                                            .openRouterModels = {"openrouter:moonshotai/kimi-k2.6"},
                                            .customProviders = {}});
  const std::vector<std::pair<std::string, AIProvider>> cases = {
      {"google:gemini-3.8-flash", AIProvider::kGoogleAPI},
      {"grok-4.5", AIProvider::kXAIAccount},
      {"grok-4.6", AIProvider::kXAIAccount},
      {"Gemini 3.7 Flash", AIProvider::kGemini},
      {"Claude Opus 4.6 (Thinking)", AIProvider::kGemini},
      {"gemini-3.1-pro-preview", AIProvider::kGemini},
      {"gpt-6-sol", AIProvider::kCodex},
      {"openai:gpt-6-sol", AIProvider::kOpenAIAPI},
      {"custom-openai:llama", AIProvider::kCustomOpenAI},
      {"cloudflare:@cf/user/model", AIProvider::kCloudflareWorkersAI},
      {"openrouter:anything/else", AIProvider::kOpenRouter},
      {"zai:glm-4.7", AIProvider::kZAICodingPlan},
      {"deepseek:deepseek-chat", AIProvider::kDeepSeek},
      {"opencode:glm-5.3", AIProvider::kOpenCode},
      {"never-heard-of-it", AIProvider::kCodex},
      {"", AIProvider::kCodex},
  };
  for (const auto& [id, provider] : cases) EXPECT_EQ(catalog.provider(id), provider) << id;
}

TEST(AIModelCatalog, EveryOfferedModelResolvesToItsOwnProviderAndHasLimits) {
  const AIModelCatalog catalog;
  for (AIProvider provider : kAllAIProviders) {
    for (const auto& id : catalog.models(provider)) {
      EXPECT_EQ(catalog.provider(id), provider) << id;
      const auto metadata = catalog.metadata(id);
      ASSERT_TRUE(metadata) << id;
      EXPECT_EQ(metadata->provider, provider) << id;
      EXPECT_GT(metadata->contextLimitTokens, metadata->maxOutputTokens) << id;
    }
    if (auto fallback = catalog.defaultModel(provider)) {
      const auto list = catalog.models(provider);
      EXPECT_NE(std::find(list.begin(), list.end(), *fallback), list.end()) << *fallback;
    }
  }
  EXPECT_FALSE(catalog.defaultModel(AIProvider::kCustomOpenAI));
  EXPECT_TRUE(catalog.models(AIProvider::kCustomOpenAI).empty());
  EXPECT_FALSE(catalog.metadata("openrouter:someone/new-model"));
}

TEST(AIModelCatalog, BuiltInListsAndUserModels) {
  const AIModelCatalog plain;
  EXPECT_EQ(plain.models(AIProvider::kOpenRouter), std::vector<std::string>{"openrouter:openrouter/auto"});
  EXPECT_EQ(plain.defaultModel(AIProvider::kOpenRouter), "openrouter:openrouter/auto");
  // OpenCode's list joins its two plans' lists without repeats: 13 "go" models and the three
  // Claude models only "zen" lists.
  const auto openCode = plain.models(AIProvider::kOpenCode);
  EXPECT_EQ(std::set<std::string>(openCode.begin(), openCode.end()).size(), openCode.size());
  EXPECT_EQ(openCode.size(), 16u);

  platform::testing::InMemoryFileSystem files;
  core::JsonSettingsStore settings(files, "/settings.json");
  settings.setStringList(std::string(kCloudflareWorkersAIModelsKey),
                         {"@cf/user/model", "cloudflare:@cf/meta/llama-3.1-8b-instruct", " "});
  settings.setStringList(std::string(kOpenRouterAIModelsKey), {"moonshotai/kimi-k2.6"});
  settings.setString(
      std::string(kCustomOpenAIProvidersKey),
      R"([{"id":"lab","name":"Lab","baseURL":"http://10.0.0.2/v1","models":["qwen"," llama "]},)"
      R"({"id":"empty","models":[]}])");
  const AIModelCatalog catalog(AIUserModels::fromSettings(settings));
  const auto cloudflare = catalog.models(AIProvider::kCloudflareWorkersAI);
  EXPECT_EQ(cloudflare.size(), 6u);  // the duplicate and the blank entry are dropped
  EXPECT_EQ(cloudflare.back(), "cloudflare:@cf/user/model");
  EXPECT_EQ(catalog.models(AIProvider::kOpenRouter),
            (std::vector<std::string>{"openrouter:openrouter/auto", "openrouter:moonshotai/kimi-k2.6"}));
  EXPECT_EQ(catalog.models(AIProvider::kCustomOpenAI),
            (std::vector<std::string>{"custom-openai:qwen", "custom-openai:llama"}));
  ASSERT_NE(catalog.customProvider("custom-openai:llama"), nullptr);
  EXPECT_EQ(catalog.customProvider("custom-openai:llama")->baseURL, "http://10.0.0.2/v1");

  settings.setString(std::string(kCustomOpenAIProvidersKey), "not json");
  EXPECT_TRUE(AIUserModels::fromSettings(settings).customProviders.empty());
}

TEST(AIModelCatalog, DisplayNames) {
  const AIModelCatalog catalog;
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"gpt-6-sol", "GPT-6 Sol"},
      {"gpt-5.6-terra", "GPT-5.6 Terra"},
      {"openai:gpt-6-astra", "GPT-6 Astra"},
      {"gpt-5.5", "GPT-5.5"},
      {"grok-4.7", "Grok 4.7"},
      {"Claude Opus 4.6 (Thinking)", "Gemini 3.8 Flash"},
      {"Gemini 3.1 Pro", "Gemini 3.1 Pro"},
      {"cloudflare:@cf/meta/llama-3.1-8b-instruct", "@cf/meta/llama-3.1-8b-instruct"},
      {"google:gemini-3.5-flash-lite", "Gemini 3.5 Flash Lite"},
      {"deepseek:deepseek-v4-flash-vision-exp", "DeepSeek V4 Flash Vision Exp"},
      {"zai:glm-5.3", "GLM-5.3"},
      {"zai:glm-4.7-air", "GLM-4.7 Air"},
      {"opencode:claude-haiku-5-5", "Claude Haiku 5.5"},
      {"openrouter:someone/new-model", "someone/new-model"},
  };
  for (const auto& [id, name] : cases) EXPECT_EQ(catalog.displayName(id), name) << id;
}

TEST(AIModelCatalog, DefaultReasoningEfforts) {
  const AIModelCatalog catalog;
  const std::vector<std::pair<std::string, std::optional<ReasoningEffort>>> cases = {
      {"gpt-6-luna", ReasoningEffort::kMedium},
      {"openai: gpt-6-astra ", ReasoningEffort::kHigh},
      {"custom-openai:anything", ReasoningEffort::kMedium},
      {"Gemini 3.1 Pro", ReasoningEffort::kHigh},
      {"Gemini 3.8 Flash", ReasoningEffort::kMedium},
      {"google:gemini-3.8-flash", ReasoningEffort::kMedium},
      {"google:gemini-3.1-flash-lite", std::nullopt},
      {"openrouter:openrouter/auto", std::nullopt},
      {"cloudflare:@cf/meta/llama-3.1-8b-instruct", std::nullopt},
      {"opencode:glm-5.3", std::nullopt},
      {"grok-4.7", std::nullopt},
      {"zai:glm-5.3-flash", ReasoningEffort::kMax},
      {"zai:glm-5.3", ReasoningEffort::kMax},
      {"zai:glm-4.7", ReasoningEffort::kHigh},
      {"deepseek:deepseek-flash", ReasoningEffort::kHigh},
  };
  for (const auto& [id, effort] : cases) EXPECT_EQ(catalog.defaultReasoningEffort(id), effort) << id;
}

TEST(AIModelCatalog, ServiceModelNamesAndLegacyProfiles) {
  EXPECT_EQ(AIModelCatalog::serviceModelName("openrouter: moonshotai/kimi-k2.6\n"), "moonshotai/kimi-k2.6");
  EXPECT_EQ(AIModelCatalog::serviceModelName("cloudflare:@cf/meta/llama-3.1-8b-instruct"),
            "@cf/meta/llama-3.1-8b-instruct");
  EXPECT_EQ(AIModelCatalog::serviceModelName("Claude Opus 4.6 (Thinking)"), "Gemini 3.8 Flash");

  const AIModelProfile* profile = antigravityProfile("gemini-3-flash-preview");
  ASSERT_NE(profile, nullptr);
  EXPECT_EQ(profile->acpModelIDs.at(ReasoningEffort::kHigh), "gemini-3.8-flash-high");
  const AIModelProfile* pro = antigravityProfile("gemini-3.1-pro-preview");
  ASSERT_NE(pro, nullptr);
  EXPECT_EQ(pro->acpModelIDs.at(ReasoningEffort::kHigh), "gemini-pro-agent");
  EXPECT_FALSE(pro->acpModelIDs.contains(ReasoningEffort::kMedium));
  EXPECT_EQ(AIModelProfile::flash("3.6").acpModelIDs.at(ReasoningEffort::kLow), "gemini-3.6-flash-low");
}

}  // namespace
}  // namespace zephyl::ai
