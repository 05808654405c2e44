#include "ai/ai_service_factory.h"

#include "ai/ai_service_endpoint.h"
#include "ai/budgeted_ai_stream_provider.h"
#include "ai/chat_completions_ai_services.h"
#include "ai/chatgpt_responses_ai_service.h"
#include "ai/google_api_service.h"
#include "ai/openai_api_service.h"
#include "ai/xai_responses_ai_service.h"

namespace zephyl::ai {
namespace {

// The wrappers hold references, so one object owns the chain from the outside in.
class AIServiceStack : public AIStreamProvider {
 public:
  AIServiceStack(std::unique_ptr<AIHTTPClient> http, std::unique_ptr<AIStreamProvider> adapter,
                 const AIServiceDependencies& dependencies, const AIModelCatalog& catalog)
      : http_(std::move(http)),
        adapter_(std::move(adapter)),
        usage_(*adapter_, dependencies.usageRecorder, dependencies.clock,
               [&catalog](const std::string& model) { return catalog.provider(model); }),
        budget_(usage_, BudgetedAIStreamProvider::catalogLimits(catalog, dependencies.settings),
                [](const AIStreamRequest& request) { return request.instructions; }) {}

  void produce(const AIStreamRequest& request, std::stop_token stop, const Emit& emit) override {
    budget_.produce(request, std::move(stop), emit);
  }

 private:
  std::unique_ptr<AIHTTPClient> http_;
  std::unique_ptr<AIStreamProvider> adapter_;
  UsageRecordingAIStreamProvider usage_;
  BudgetedAIStreamProvider budget_;
};

std::string_view defaultBaseURL(AIProvider provider) {
  switch (provider) {
    case AIProvider::kCodex:
      return ChatGPTResponsesAIService::kDefaultBaseURL;
    case AIProvider::kOpenAIAPI:
      return OpenAIAPIService::kDefaultBaseURL;
    case AIProvider::kXAIAccount:
      return XAIResponsesAIService::kDefaultBaseURL;
    case AIProvider::kGoogleAPI:
      return GoogleAPIService::kDefaultBaseURL;
    case AIProvider::kOpenRouter:
      return OpenRouterAIService::kDefaultBaseURL;
    case AIProvider::kCloudflareWorkersAI:
      return CloudflareWorkersAIService::kDefaultBaseURL;
    case AIProvider::kDeepSeek:
      return DeepSeekAIService::kDefaultBaseURL;
    // Chosen per request by the member: the region, the plan, the user's endpoint.
    case AIProvider::kZAICodingPlan:
    case AIProvider::kOpenCode:
    case AIProvider::kCustomOpenAI:
    case AIProvider::kGemini:
      return {};
  }
  return {};
}

}  // namespace

AIServiceFactory::AIServiceFactory(AIServiceDependencies dependencies, AIModelCatalog catalog,
                                   std::optional<std::string> baseURLOverride)
    : dependencies_(dependencies),
      catalog_(std::move(catalog)),
      baseURLOverride_(std::move(baseURLOverride)) {}

std::optional<std::string> AIServiceFactory::replacedBaseURL(AIProvider provider) const {
  if (baseURLOverride_ && !baseURLOverride_->empty()) return *baseURLOverride_;
  return configuredBaseURL(provider, dependencies_.settings);
}

std::string AIServiceFactory::baseURL(AIProvider provider) const {
  return replacedBaseURL(provider).value_or(std::string(defaultBaseURL(provider)));
}

std::unique_ptr<AIStreamProvider> AIServiceFactory::makeAdapter(std::string_view modelID,
                                                                AIHTTPClient& http) const {
  const AIProvider provider = catalog_.provider(modelID);
  switch (provider) {
    case AIProvider::kCodex:
      return std::make_unique<ChatGPTResponsesAIService>(http, dependencies_.chatGPTAccount,
                                                         baseURL(provider));
    case AIProvider::kOpenAIAPI:
      return std::make_unique<OpenAIAPIService>(http, dependencies_.credentials, baseURL(provider));
    case AIProvider::kXAIAccount:
      return std::make_unique<XAIResponsesAIService>(http, dependencies_.xaiAccount,
                                                     dependencies_.credentials, dependencies_.imageGenerator,
                                                     baseURL(provider));
    case AIProvider::kCustomOpenAI:
      return std::make_unique<CustomOpenAIService>(http, dependencies_.credentials, catalog_,
                                                   replacedBaseURL(provider));
    case AIProvider::kGoogleAPI:
      return std::make_unique<GoogleAPIService>(http, dependencies_.credentials, replacedBaseURL(provider));
    case AIProvider::kOpenRouter:
      return std::make_unique<OpenRouterAIService>(http, dependencies_.credentials, dependencies_.settings,
                                                   replacedBaseURL(provider));
    case AIProvider::kCloudflareWorkersAI:
      return std::make_unique<CloudflareWorkersAIService>(http, dependencies_.credentials,
                                                          dependencies_.settings, replacedBaseURL(provider));
    case AIProvider::kZAICodingPlan:
      return std::make_unique<ZAICodingPlanAIService>(http, dependencies_.credentials, dependencies_.settings,
                                                      replacedBaseURL(provider));
    case AIProvider::kDeepSeek:
      return std::make_unique<DeepSeekAIService>(http, dependencies_.credentials, dependencies_.settings,
                                                 replacedBaseURL(provider));
    case AIProvider::kOpenCode:
      return std::make_unique<OpenCodeAIService>(http, dependencies_.credentials, dependencies_.settings,
                                                 replacedBaseURL(provider));
    case AIProvider::kGemini:
      return dependencies_.agentAdapter ? dependencies_.agentAdapter(modelID) : nullptr;
  }
  return nullptr;
}

std::unique_ptr<AIStreamProvider> AIServiceFactory::makeProvider(std::string_view modelID) const {
  const AIProvider provider = catalog_.provider(modelID);
  auto http = std::make_unique<AIHTTPClient>(dependencies_.transport, dependencies_.clock,
                                             dependencies_.random, dependencies_.wallClock);
  std::unique_ptr<AIStreamProvider> adapter = makeAdapter(modelID, *http);
  if (!adapter) throw AIServiceFactoryError(AIServiceFactoryError::Code::kProviderNotAvailable, provider);
  return std::make_unique<AIServiceStack>(std::move(http), std::move(adapter), dependencies_, catalog_);
}

std::optional<std::string> AIServiceFactory::requestBody(const AIStreamRequest& request) const {
  AIHTTPClient http(dependencies_.transport, dependencies_.clock, dependencies_.random,
                    dependencies_.wallClock);
  // An agent takes no HTTP body, and is not launched for a dry run.
  if (catalog_.provider(request.model) == AIProvider::kGemini) return std::nullopt;
  std::unique_ptr<AIStreamProvider> adapter = makeAdapter(request.model, http);
  if (auto* responses = dynamic_cast<ResponsesAIService*>(adapter.get()))
    return responses->requestBody(request);
  if (auto* chat = dynamic_cast<ChatCompletionsAIService*>(adapter.get())) return chat->requestBody(request);
  if (auto* google = dynamic_cast<GoogleAPIService*>(adapter.get())) return google->requestBody(request);
  return std::nullopt;
}

}  // namespace zephyl::ai
