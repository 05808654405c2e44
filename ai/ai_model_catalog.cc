#include "ai/ai_model_catalog.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

#include "ai/ai_model_profile.h"
#include "ai/ai_settings_keys.h"
#include "core/json_value.h"
#include "core/logger.h"
#include "core/settings_error.h"

namespace zephyl::ai {
namespace {

constexpr core::Logger kLog("AIModelCatalog");

// Tested in exactly this order.
constexpr std::array<std::pair<std::string_view, AIProvider>, 9> kPrefixes = {{
    {"openai:", AIProvider::kOpenAIAPI},
    {"custom-openai:", AIProvider::kCustomOpenAI},
    {"google:", AIProvider::kGoogleAPI},
    {"cloudflare:", AIProvider::kCloudflareWorkersAI},
    {"openrouter:", AIProvider::kOpenRouter},
    {"zai:", AIProvider::kZAICodingPlan},
    {"deepseek:", AIProvider::kDeepSeek},
    {"opencode:", AIProvider::kOpenCode},
    // Custom ACP agents run through the same agent service as Antigravity.
    {kACPAgentModelPrefix, AIProvider::kGemini},
}};

const std::vector<std::string> kCodexModels = {"gpt-6.1-sol", "gpt-6-astra",   "gpt-6-sol",    "gpt-6-luna",
                                               "gpt-5.6-sol", "gpt-5.6-terra", "gpt-5.6-luna", "gpt-5.5"};
const std::vector<std::string> kXAIModels = {"grok-4.7", "grok-4.6", "grok-4.5"};
const std::vector<std::string> kGoogleModels = {
    "google:gemini-3.8-flash",      "google:gemini-3.7-flash",      "google:gemini-3.6-flash",
    "google:gemini-3.5-flash",      "google:gemini-3.5-flash-lite", "google:gemini-3.1-flash-lite",
    "google:gemini-3.1-pro-preview"};
const std::vector<std::string> kCloudflareModels = {
    "cloudflare:google/gemini-3.7-flash", "cloudflare:@cf/meta/llama-3.1-8b-instruct",
    "cloudflare:@cf/meta/llama-3.3-70b-instruct-fp8-fast", "cloudflare:@cf/mistral/mistral-7b-instruct-v0.2",
    "cloudflare:@cf/qwen/qwen1.5-14b-chat-awq"};
const std::vector<std::string> kZAIModels = {"zai:glm-5.3-flash", "zai:glm-5.3"};
const std::vector<std::string> kDeepSeekModels = {"deepseek:deepseek-flash", "deepseek:deepseek-v4-pro"};
const std::vector<std::string> kOpenCodeGoModels = {
    "glm-5.3",         "glm-5.3-flash", "kimi-k3",         "kimi-k2.7-code", "deepseek-v4.1-flash",
    "deepseek-v4-pro", "mimo-v2.6-pro", "mimo-v2.6-flash", "minimax-m3",     "qwen3.8-max",
    "qwen3.8-flash",   "qwen3.7-plus",  "claude-haiku-5-5"};
const std::vector<std::string> kOpenCodeZenModels = {
    "glm-5.3",           "glm-5.3-flash",   "kimi-k3",     "kimi-k2.7-code",   "deepseek-v4.1-flash",
    "deepseek-v4-pro",   "minimax-m3",      "qwen3.8-max", "claude-fable-5-1", "claude-opus-5-5",
    "claude-sonnet-5-5", "claude-haiku-5-5"};

// Display names that no rule derives.
constexpr auto kNamedModels = std::to_array<std::pair<std::string_view, std::string_view>>({
    {"google:gemini-3.8-flash", "Gemini 3.8 Flash"},
    {"google:gemini-3.7-flash", "Gemini 3.7 Flash"},
    {"google:gemini-3.6-flash", "Gemini 3.6 Flash"},
    {"google:gemini-3.5-flash", "Gemini 3.5 Flash"},
    {"google:gemini-3.5-flash-lite", "Gemini 3.5 Flash Lite"},
    {"google:gemini-3.1-flash-lite", "Gemini 3.1 Flash Lite"},
    {"google:gemini-3.1-pro-preview", "Gemini 3.1 Pro Preview"},
    {"google:gemini-3-flash-preview", "Gemini 3 Flash Preview"},
    {"google:gemini-2.5-flash", "Gemini 2.5 Flash"},
    {"google:gemini-2.5-flash-lite", "Gemini 2.5 Flash Lite"},
    {"openrouter:openrouter/auto", "OpenRouter Auto"},
    {"openrouter:google/gemini-2.5-flash-lite", "Gemini 2.5 Flash Lite"},
    {"openrouter:moonshotai/kimi-k2.6", "Kimi K2.6"},
    {"openrouter:openai/gpt-5.6-luna", "GPT-5.6 Luna"},
    {"deepseek:deepseek-flash", "DeepSeek Flash"},
    {"deepseek:deepseek-v4-pro", "DeepSeek V4 Pro"},
    {"deepseek:deepseek-v4-flash", "DeepSeek V4 Flash"},
    {"deepseek:deepseek-v4.1-flash", "DeepSeek V4.1 Flash"},
    {"deepseek:deepseek-v4-flash-vision-exp", "DeepSeek V4 Flash Vision Exp"},
    {"deepseek:deepseek-chat", "DeepSeek Chat"},
    {"deepseek:deepseek-reasoner", "DeepSeek Reasoner"},
    {"opencode:glm-5.3", "GLM-5.3"},
    {"opencode:glm-5.3-flash", "GLM-5.3 Flash"},
    {"opencode:kimi-k3", "Kimi K3"},
    {"opencode:kimi-k2.7-code", "Kimi K2.7 Code"},
    {"opencode:deepseek-v4.1-flash", "DeepSeek V4.1 Flash"},
    {"opencode:deepseek-v4-pro", "DeepSeek V4 Pro"},
    {"opencode:mimo-v2.6-pro", "MiMo V2.6 Pro"},
    {"opencode:mimo-v2.6-flash", "MiMo V2.6 Flash"},
    {"opencode:minimax-m3", "MiniMax M3"},
    {"opencode:qwen3.8-max", "Qwen3.8 Max"},
    {"opencode:qwen3.8-flash", "Qwen3.8 Flash"},
    {"opencode:qwen3.7-plus", "Qwen3.7 Plus"},
    {"opencode:claude-haiku-5-5", "Claude Haiku 5.5"},
    {"opencode:claude-fable-5-1", "Claude Fable 5.1"},
    {"opencode:claude-opus-5-5", "Claude Opus 5.5"},
    {"opencode:claude-sonnet-5-5", "Claude Sonnet 5.5"},
});

// Google models that take a thinking setting; the lite models do not.
constexpr std::array<std::string_view, 6> kGoogleReasoningModels = {
    "gemini-3.8-flash", "gemini-3.7-flash",       "gemini-3.6-flash",
    "gemini-3.5-flash", "gemini-3.1-pro-preview", "gemini-2.5-flash"};

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kSpace = " \t\n\r\v\f";
  const size_t start = text.find_first_not_of(kSpace);
  if (start == std::string_view::npos) return {};
  return text.substr(start, text.find_last_not_of(kSpace) - start + 1);
}

void replaceAll(std::string& text, std::string_view from, std::string_view to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
}

std::string withoutPrefix(std::string_view modelID) {
  for (const auto& [prefix, provider] : kPrefixes) {
    if (modelID.starts_with(prefix)) return std::string(modelID.substr(prefix.size()));
  }
  return std::string(modelID);
}

std::string glmDisplayName(std::string_view name) {
  // "glm-5.3-flash" → "GLM-5.3 Flash": the family keeps its hyphen, variants are words.
  std::string rest(name.substr(4));
  const size_t hyphen = rest.find('-');
  std::string display = "GLM-" + rest.substr(0, hyphen);
  if (hyphen == std::string::npos) return display;
  std::string suffix = rest.substr(hyphen + 1);
  bool wordStart = true;
  for (char& c : suffix) {
    if (c == '-') {
      c = ' ';
      wordStart = true;
    } else if (wordStart) {
      c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
      wordStart = false;
    }
  }
  return display + " " + suffix;
}

void appendUnique(std::vector<std::string>& list, const std::string& id) {
  if (std::find(list.begin(), list.end(), id) == list.end()) list.push_back(id);
}

std::vector<std::string> prefixedModels(std::vector<std::string> names, std::string_view prefix) {
  std::vector<std::string> ids;
  for (auto& name : names) {
    const std::string_view bare = trimmed(name);
    if (bare.empty()) continue;
    appendUnique(ids, bare.starts_with(prefix) ? std::string(bare) : std::string(prefix) + std::string(bare));
  }
  return ids;
}

// `document` is the array itself, or text holding it as the user defaults keep it.
std::vector<AICustomOpenAIProvider> parseCustomProviders(core::JSONValue document) {
  std::vector<AICustomOpenAIProvider> providers;
  if (document.string() != nullptr) document = core::JSONValue::parse(*document.string());
  const auto* items = document.array();
  if (items == nullptr) return providers;
  for (const auto& item : *items) {
    const auto* id = item.find("id");
    if (id == nullptr || id->string() == nullptr) continue;
    AICustomOpenAIProvider provider{.id = *id->string(), .name = *id->string(), .baseURL = "", .models = {}};
    if (const auto* name = item.find("name"); name != nullptr && name->string() != nullptr) {
      provider.name = *name->string();
    }
    if (const auto* url = item.find("baseURL"); url != nullptr && url->string() != nullptr) {
      provider.baseURL = *url->string();
    }
    if (const auto* models = item.find("models"); models != nullptr && models->array() != nullptr) {
      for (const auto& model : *models->array()) {
        if (model.string() != nullptr && !trimmed(*model.string()).empty()) {
          appendUnique(provider.models, std::string(trimmed(*model.string())));
        }
      }
    }
    providers.push_back(std::move(provider));
  }
  return providers;
}

}  // namespace

AIUserModels AIUserModels::fromSettings(core::SettingsStore& settings) {
  AIUserModels models;
  try {
    if (auto list = settings.stringListValue(std::string(kCloudflareWorkersAIModelsKey))) {
      models.cloudflareModels = prefixedModels(std::move(*list), "cloudflare:");
    }
    if (auto list = settings.stringListValue(std::string(kOpenRouterAIModelsKey))) {
      models.openRouterModels = prefixedModels(std::move(*list), "openrouter:");
    }
    if (auto document = settings.jsonValue(std::string(kCustomOpenAIProvidersKey))) {
      models.customProviders = parseCustomProviders(std::move(*document));
    }
  } catch (const core::Error& error) {
    // The catalogue must work without user models; the settings pane shows the problem.
    kLog.warning() << "User model settings ignored: " << error.description();
  }
  return models;
}

AIModelCatalog::AIModelCatalog(AIUserModels userModels) : userModels_(std::move(userModels)) {}

AIProvider AIModelCatalog::provider(std::string_view modelID) const {
  for (const auto& [prefix, provider] : kPrefixes) {
    if (modelID.starts_with(prefix)) return provider;
  }
  if (antigravityProfile(modelID) != nullptr) return AIProvider::kGemini;
  for (AIProvider candidate : kAllAIProviders) {
    const auto list = models(candidate);
    if (std::find(list.begin(), list.end(), modelID) != list.end()) return candidate;
  }
  return AIProvider::kCodex;
}

std::vector<std::string> AIModelCatalog::models(AIProvider provider) const {
  switch (provider) {
    case AIProvider::kCodex:
      return kCodexModels;
    case AIProvider::kOpenAIAPI:
      return prefixedModels(kCodexModels, "openai:");
    case AIProvider::kCustomOpenAI: {
      std::vector<std::string> ids;
      for (const auto& custom : userModels_.customProviders) {
        for (const auto& model : custom.models) appendUnique(ids, "custom-openai:" + model);
      }
      return ids;
    }
    case AIProvider::kXAIAccount:
      return kXAIModels;
    case AIProvider::kGemini: {
      std::vector<std::string> ids;
      for (const auto& profile : builtInAIModelProfiles()) ids.push_back(profile.model);
      return ids;
    }
    case AIProvider::kGoogleAPI:
      return kGoogleModels;
    case AIProvider::kOpenRouter: {
      std::vector<std::string> ids = {"openrouter:openrouter/auto"};
      for (const auto& id : userModels_.openRouterModels) appendUnique(ids, id);
      return ids;
    }
    case AIProvider::kCloudflareWorkersAI: {
      std::vector<std::string> ids = kCloudflareModels;
      for (const auto& id : userModels_.cloudflareModels) appendUnique(ids, id);
      return ids;
    }
    case AIProvider::kZAICodingPlan:
      return kZAIModels;
    case AIProvider::kDeepSeek:
      return kDeepSeekModels;
    case AIProvider::kOpenCode: {
      std::vector<std::string> ids;
      for (OpenCodePlan plan : {OpenCodePlan::kGo, OpenCodePlan::kZen}) {
        for (const auto& name : openCodePlanModels(plan)) appendUnique(ids, "opencode:" + name);
      }
      return ids;
    }
  }
  return {};
}

std::vector<std::string> AIModelCatalog::allModels() const {
  std::vector<std::string> ids;
  for (AIProvider provider : kAllAIProviders) {
    for (auto& id : models(provider)) ids.push_back(std::move(id));
  }
  return ids;
}

std::optional<std::string> AIModelCatalog::defaultModel(AIProvider provider) const {
  if (auto id = ai::defaultModel(provider)) return std::string(*id);
  return std::nullopt;
}

std::string AIModelCatalog::displayName(std::string_view modelID) const {
  const AIProvider owner = provider(modelID);
  switch (owner) {
    case AIProvider::kCodex:
    case AIProvider::kOpenAIAPI: {
      std::string name(modelID.starts_with("openai:") ? modelID.substr(7) : modelID);
      static constexpr std::array<std::pair<std::string_view, std::string_view>, 11> kReplacements = {{
          {"gpt", "GPT"},
          {"-astra", " Astra"},
          {"-sol", " Sol"},
          {"-terra", " Terra"},
          {"-luna", " Luna"},
          {"-mini", " mini"},
          {"-codex", " Codex"},
          {"codex", "Codex"},
          {"gemini", "Gemini"},
          {"flash", "Flash"},
          {"pro", "Pro"},
      }};
      for (const auto& [from, to] : kReplacements) replaceAll(name, from, to);
      return name;
    }
    case AIProvider::kXAIAccount: {
      std::string name(modelID);
      replaceAll(name, "grok", "Grok");
      std::replace(name.begin(), name.end(), '-', ' ');
      return name;
    }
    case AIProvider::kGemini:
      if (modelID.starts_with(kACPAgentModelPrefix)) return withoutPrefix(modelID);
      return std::string(canonicalAntigravityModelName(modelID));
    case AIProvider::kCloudflareWorkersAI:
    case AIProvider::kCustomOpenAI:
      return withoutPrefix(modelID);
    case AIProvider::kGoogleAPI:
    case AIProvider::kOpenRouter:
    case AIProvider::kZAICodingPlan:
    case AIProvider::kDeepSeek:
    case AIProvider::kOpenCode:
      break;
  }
  for (const auto& [id, name] : kNamedModels) {
    if (id == modelID) return std::string(name);
  }
  const std::string bare = withoutPrefix(modelID);
  if (owner == AIProvider::kZAICodingPlan && bare.starts_with("glm-")) return glmDisplayName(bare);
  return bare;
}

std::optional<ReasoningEffort> AIModelCatalog::defaultReasoningEffort(std::string_view modelID) const {
  const std::string bare = serviceModelName(modelID);
  switch (provider(modelID)) {
    case AIProvider::kCodex:
    case AIProvider::kOpenAIAPI:
      // The largest model thinks hardest by default; the rest, "gpt-6-luna"
      // among them, balance speed and depth.
      if (bare.starts_with("gpt-6-astra")) return ReasoningEffort::kHigh;
      return ReasoningEffort::kMedium;
    case AIProvider::kCustomOpenAI:
      return ReasoningEffort::kMedium;
    case AIProvider::kGemini:
      if (const auto* profile = antigravityProfile(modelID)) return profile->defaultReasoningEffort;
      return std::nullopt;
    case AIProvider::kGoogleAPI:
      if (std::find(kGoogleReasoningModels.begin(), kGoogleReasoningModels.end(), bare) !=
          kGoogleReasoningModels.end()) {
        return ReasoningEffort::kMedium;
      }
      return std::nullopt;
    case AIProvider::kOpenRouter:
    case AIProvider::kCloudflareWorkersAI:
    case AIProvider::kOpenCode:
    case AIProvider::kXAIAccount:
      return std::nullopt;
    case AIProvider::kZAICodingPlan:
      if (bare == "glm-5.3" || bare == "glm-5.3-flash") return ReasoningEffort::kMax;
      return ReasoningEffort::kHigh;
    case AIProvider::kDeepSeek:
      return ReasoningEffort::kHigh;
  }
  return std::nullopt;
}

std::optional<AIModelCatalogMetadata> AIModelCatalog::metadata(std::string_view modelID) const {
  return AIModelCatalogMetadata::builtIn(modelID);
}

const AICustomOpenAIProvider* AIModelCatalog::customProvider(std::string_view modelID) const {
  if (!modelID.starts_with("custom-openai:")) return nullptr;
  const std::string name = serviceModelName(modelID);
  for (const auto& custom : userModels_.customProviders) {
    if (std::find(custom.models.begin(), custom.models.end(), name) != custom.models.end()) return &custom;
  }
  return nullptr;
}

std::string AIModelCatalog::serviceModelName(std::string_view modelID) {
  for (const auto& [prefix, provider] : kPrefixes) {
    if (modelID.starts_with(prefix)) return std::string(trimmed(modelID.substr(prefix.size())));
  }
  return std::string(trimmed(canonicalAntigravityModelName(modelID)));
}

const std::vector<std::string>& AIModelCatalog::openCodePlanModels(OpenCodePlan plan) {
  return plan == OpenCodePlan::kGo ? kOpenCodeGoModels : kOpenCodeZenModels;
}

}  // namespace zephyl::ai
