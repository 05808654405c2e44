#include "ai/ai_service_factory.h"

#include "ai/ai_service_endpoint.h"
#include "ai/budgeted_ai_stream_provider.h"
#include "ai/chatgpt_responses_ai_service.h"
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
    case AIProvider::kCustomOpenAI:
    case AIProvider::kGemini:
    case AIProvider::kGoogleAPI:
    case AIProvider::kOpenRouter:
    case AIProvider::kCloudflareWorkersAI:
    case AIProvider::kZAICodingPlan:
    case AIProvider::kDeepSeek:
    case AIProvider::kOpenCode:
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

std::string AIServiceFactory::baseURL(AIProvider provider) const {
  if (baseURLOverride_ && !baseURLOverride_->empty()) return *baseURLOverride_;
  if (auto configured = configuredBaseURL(provider, dependencies_.settings)) return *configured;
  return std::string(defaultBaseURL(provider));
}

std::unique_ptr<AIStreamProvider> AIServiceFactory::makeAdapter(AIProvider provider,
                                                                AIHTTPClient& http) const {
  switch (provider) {
    case AIProvider::kCodex:
      return std::make_unique<ChatGPTResponsesAIService>(http, dependencies_.chatGPTAccount,
                                                         baseURL(provider));
    case AIProvider::kOpenAIAPI:
      return std::make_unique<OpenAIAPIService>(http, dependencies_.credentials, baseURL(provider));
    case AIProvider::kXAIAccount:
      return std::make_unique<XAIResponsesAIService>(
          http, dependencies_.xaiAccount, dependencies_.credentials,
          dependencies_.imageGenerator != nullptr ? *dependencies_.imageGenerator : noImages_,
          baseURL(provider));
    case AIProvider::kCustomOpenAI:
    case AIProvider::kGemini:
    case AIProvider::kGoogleAPI:
    case AIProvider::kOpenRouter:
    case AIProvider::kCloudflareWorkersAI:
    case AIProvider::kZAICodingPlan:
    case AIProvider::kDeepSeek:
    case AIProvider::kOpenCode:
      return nullptr;
  }
  return nullptr;
}

std::unique_ptr<AIStreamProvider> AIServiceFactory::makeProvider(std::string_view modelID) const {
  const AIProvider provider = catalog_.provider(modelID);
  auto http = std::make_unique<AIHTTPClient>(dependencies_.transport, dependencies_.clock,
                                             dependencies_.random, dependencies_.wallClock);
  std::unique_ptr<AIStreamProvider> adapter = makeAdapter(provider, *http);
  if (!adapter) throw AIServiceFactoryError(AIServiceFactoryError::Code::kProviderNotAvailable, provider);
  return std::make_unique<AIServiceStack>(std::move(http), std::move(adapter), dependencies_, catalog_);
}

std::optional<std::string> AIServiceFactory::requestBody(const AIStreamRequest& request) const {
  AIHTTPClient http(dependencies_.transport, dependencies_.clock, dependencies_.random,
                    dependencies_.wallClock);
  std::unique_ptr<AIStreamProvider> adapter = makeAdapter(catalog_.provider(request.model), http);
  if (auto* responses = dynamic_cast<ResponsesAIService*>(adapter.get()))
    return responses->requestBody(request);
  return std::nullopt;
}

}  // namespace zephyl::ai
