// AIModelCatalog: which models each provider offers, how a model id resolves
// back to its provider, and how it is shown. A model id is one string: a
// provider prefix and the service's model name ("openai:gpt-6-sol"), or a bare
// name for the ChatGPT and xAI accounts ("gpt-6-sol", "grok-4.7") and the
// Antigravity agent ("Gemini 3.8 Flash"). Nothing here fails: an id that no rule
// resolves belongs to the ChatGPT account.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ai/ai_model_catalog_metadata.h"
#include "ai/ai_provider.h"
#include "ai/open_code_plan.h"
#include "ai/reasoning_effort.h"
#include "core/settings_store.h"

namespace zephyl::ai {

// A custom ACP agent's model id: this prefix and the agent's name from the
// setting "customACPAgents" ("acp:example"). It belongs to the gemini
// provider, whose service runs external agents; the agent uses its own model.
inline constexpr std::string_view kACPAgentModelPrefix = "acp:";

// One user-defined OpenAI-compatible endpoint.
struct AICustomOpenAIProvider {
  std::string id;  // also names its API key: "customOpenAIAPIKey." + id
  std::string name;
  std::string baseURL;
  std::vector<std::string> models;  // service model names, without prefix

  bool operator==(const AICustomOpenAIProvider&) const = default;
};

// The models the user entered in settings.
struct AIUserModels {
  std::vector<std::string> cloudflareModels;  // ids with the "cloudflare:" prefix
  std::vector<std::string> openRouterModels;  // ids with the "openrouter:" prefix
  std::vector<AICustomOpenAIProvider> customProviders;

  // Reads "cloudflareWorkersAIModels", "openRouterAIModels" and
  // "customOpenAIProviders"; names typed without their prefix get it. Unreadable
  // or malformed settings read as no user models (logged).
  static AIUserModels fromSettings(core::SettingsStore& settings);
};

class AIModelCatalog {
 public:
  explicit AIModelCatalog(AIUserModels userModels = {});

  // The provider of `modelID`: its prefix, else an Antigravity profile name
  // (legacy names mapped), else the first provider whose list holds it, else codex.
  AIProvider provider(std::string_view modelID) const;

  // The ids offered for `provider`, in picker order, user models appended where
  // the provider takes them.
  std::vector<std::string> models(AIProvider provider) const;

  // Every offered id of every provider, providers in enumeration order.
  std::vector<std::string> allModels() const;

  std::optional<std::string> defaultModel(AIProvider provider) const;
  std::string displayName(std::string_view modelID) const;
  std::optional<ReasoningEffort> defaultReasoningEffort(std::string_view modelID) const;

  // The model's limits from the built-in table, or nullopt when unknown.
  std::optional<AIModelCatalogMetadata> metadata(std::string_view modelID) const;

  // The custom provider that offers `modelID` ("custom-openai:" ids), or null.
  const AICustomOpenAIProvider* customProvider(std::string_view modelID) const;

  // What is sent to the service as the model name: the id after its prefix,
  // white space and newlines trimmed; an Antigravity name after the legacy map.
  static std::string serviceModelName(std::string_view modelID);

  // One OpenCode plan's list, without the "opencode:" prefix.
  static const std::vector<std::string>& openCodePlanModels(OpenCodePlan plan);

 private:
  AIUserModels userModels_;
};

}  // namespace zephyl::ai
