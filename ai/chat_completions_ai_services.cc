#include "ai/chat_completions_ai_services.h"

#include <algorithm>

#include "ai/ai_service_endpoint.h"
#include "ai/ai_settings_keys.h"
#include "ai/environment_credential_store.h"
#include "ai/zai_coding_plan_region.h"

namespace zephyl::ai {
namespace {

using Form = ChatCompletionsReasoningForm;

std::optional<std::string> setting(core::SettingsStore* settings, std::string_view key) {
  if (settings == nullptr) return std::nullopt;
  auto value = settings->stringValue(std::string(key));
  if (!value || value->empty()) return std::nullopt;
  return value;
}

std::string replaced(std::string text, std::string_view placeholder, std::string_view value) {
  if (auto at = text.find(placeholder); at != std::string::npos) text.replace(at, placeholder.size(), value);
  return text;
}

}  // namespace

ChatCompletionsTarget DeepSeekAIService::target(const AIStreamRequest& request) const {
  const bool vision = AIModelCatalog::serviceModelName(request.model).find("vision") != std::string::npos;
  return keyedTarget(request, credentials_, kDeepSeekAPIKeyName,
                     baseURL_.value_or(std::string(kDefaultBaseURL)), {Form::kReasoningEffort, true, vision});
}

ChatCompletionsTarget OpenRouterAIService::target(const AIStreamRequest& request) const {
  ChatCompletionsTarget where =
      keyedTarget(request, credentials_, kOpenRouterAPIKeyName,
                  baseURL_.value_or(std::string(kDefaultBaseURL)), {Form::kReasoningObject, true, true});
  // OpenRouter lists requests by the app that sent them.
  where.extraHeaders.emplace_back("X-Title", "Zephyl");
  return where;
}

ChatCompletionsTarget CloudflareWorkersAIService::target(const AIStreamRequest& request) const {
  constexpr std::string_view kPlaceholder = "{account_id}";
  std::string base = baseURL_.value_or(std::string(kDefaultBaseURL));
  if (base.find(kPlaceholder) != std::string::npos) {
    auto account = credentials_.secret(std::string(kCloudflareWorkersAIAccountIDKey));
    if (!account || account->empty()) account = setting(settings_, kCloudflareWorkersAIAccountIDKey);
    if (!account) {
      raise(request, {AIServiceError::Code::kMissingAccountID,
                      environmentVariableFor(kCloudflareWorkersAIAccountIDKey)});
    }
    base = replaced(std::move(base), kPlaceholder, *account);
  }
  return keyedTarget(request, credentials_, kCloudflareWorkersAIAPITokenName, base,
                     {Form::kReasoningEffort, false, true});
}

ChatCompletionsTarget ZAICodingPlanAIService::target(const AIStreamRequest& request) const {
  std::string base;
  if (baseURL_) {
    base = *baseURL_;
  } else {
    const auto stored = setting(settings_, kZAICodingPlanRegionKey);
    base = endpointBaseURL(
        stored ? zaiCodingPlanRegionFromRawValue(*stored).value_or(ZAICodingPlanRegion::kGlobal)
               : ZAICodingPlanRegion::kGlobal);
  }
  // GLM's vision models end in "v" ("glm-4.5v").
  const bool vision = AIModelCatalog::serviceModelName(request.model).ends_with('v');
  return keyedTarget(request, credentials_, kZAICodingPlanAPIKeyName, base, {Form::kThinking, true, vision});
}

std::optional<OpenCodePlan> OpenCodeAIService::planFor(std::string_view modelName,
                                                       std::optional<OpenCodePlan> chosen) {
  auto offers = [modelName](OpenCodePlan plan) {
    const auto& models = AIModelCatalog::openCodePlanModels(plan);
    return std::find(models.begin(), models.end(), modelName) != models.end();
  };
  if (chosen) return offers(*chosen) ? chosen : std::nullopt;
  for (OpenCodePlan plan : {OpenCodePlan::kGo, OpenCodePlan::kZen}) {
    if (offers(plan)) return plan;
  }
  // A model no list names yet: the service itself says whether it has it.
  return OpenCodePlan::kGo;
}

ChatCompletionsTarget OpenCodeAIService::target(const AIStreamRequest& request) const {
  std::string base;
  if (baseURL_) {
    base = *baseURL_;
  } else {
    const auto stored = setting(settings_, kOpenCodePlanKey);
    const auto plan = planFor(AIModelCatalog::serviceModelName(request.model),
                              stored ? openCodePlanFromRawValue(*stored) : std::nullopt);
    if (!plan) raise(request, {AIServiceError::Code::kUnknownModel, {}});
    base = endpointBaseURL(*plan);
  }
  return keyedTarget(request, credentials_, kOpenCodeAPIKeyName, base, {Form::kReasoningEffort, true, true});
}

CustomOpenAIService::CustomOpenAIService(AIHTTPClient& http, AICredentialStore& credentials,
                                         AIModelCatalog catalog, std::optional<std::string> baseURL)
    : ChatCompletionsAIService(AIProvider::kCustomOpenAI, http),
      credentials_(credentials),
      catalog_(std::move(catalog)),
      baseURL_(std::move(baseURL)) {}

ChatCompletionsTarget CustomOpenAIService::target(const AIStreamRequest& request) const {
  const AICustomOpenAIProvider* provider = catalog_.customProvider(request.model);
  if (provider == nullptr) raise(request, {AIServiceError::Code::kUnknownModel, {}});
  const std::string base = baseURL_.value_or(provider->baseURL);
  if (base.empty()) raise(request, {AIServiceError::Code::kInvalidURL, {}});
  auto key = credentials_.secret(customOpenAIAPIKeyName(provider->id));
  if (key && key->empty()) key.reset();
  return {serviceURL(base, "/chat/completions"),
          std::move(key),
          AIModelCatalog::serviceModelName(request.model),
          {Form::kReasoningEffort, true, true},
          {}};
}

void CustomOpenAIService::raise(const AIStreamRequest& request, const AIStreamFailure& failure) const {
  const AICustomOpenAIProvider* provider = catalog_.customProvider(request.model);
  throw CustomOpenAIServiceError(provider != nullptr && !provider->name.empty() ? provider->name : "Custom",
                                 failure);
}

}  // namespace zephyl::ai
