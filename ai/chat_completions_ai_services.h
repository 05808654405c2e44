// The members of the Chat Completions family, each its own adapter and error
// type. They differ only in where a request goes, which key it carries and how
// the service takes reasoning, tools and images, so they are listed together.
//
// Base URLs: the one passed in (the `--base-url` override or the
// `aiProviderBaseURLs` setting) wins; otherwise each member's own, which for
// Cloudflare holds the account id, for Z.ai follows `zaiCodingPlanRegion` and
// for OpenCode the plan (`openCodePlan`, else the first plan that offers the
// model).
#pragma once

#include <optional>
#include <string>

#include "ai/ai_model_catalog.h"
#include "ai/chat_completions_ai_service.h"
#include "core/settings_store.h"

namespace zephyl::ai {

// The error type of the member `Service`, worded with its kServiceName.
template <typename Service>
class ChatCompletionsMemberError : public AIServiceError {
 public:
  explicit ChatCompletionsMemberError(const AIStreamFailure& failure)
      : AIServiceError(Service::kServiceName, failure.code, failure.detail, failure.status) {}
};

// A hosted member: `Service` names its kProvider and kServiceName, says where
// a request goes, and throws ChatCompletionsMemberError<Service>.
template <typename Service>
class HostedChatCompletionsAIService : public ChatCompletionsAIService {
 public:
  // `http` and `credentials` must outlive the service, and `settings` unless
  // null; `baseURL` replaces the member's own.
  HostedChatCompletionsAIService(AIHTTPClient& http, AICredentialStore& credentials,
                                 core::SettingsStore* settings, std::optional<std::string> baseURL)
      : ChatCompletionsAIService(Service::kProvider, http),
        credentials_(credentials),
        settings_(settings),
        baseURL_(std::move(baseURL)) {}

 protected:
  [[noreturn]] void raise(const AIStreamRequest&, const AIStreamFailure& failure) const override {
    throw ChatCompletionsMemberError<Service>(failure);
  }

  AICredentialStore& credentials_;
  core::SettingsStore* settings_;
  std::optional<std::string> baseURL_;
};

class DeepSeekAIService;
using DeepSeekAIServiceError = ChatCompletionsMemberError<DeepSeekAIService>;

class DeepSeekAIService final : public HostedChatCompletionsAIService<DeepSeekAIService> {
 public:
  static constexpr AIProvider kProvider = AIProvider::kDeepSeek;
  static constexpr std::string_view kServiceName = "DeepSeek";
  static constexpr std::string_view kDefaultBaseURL = "https://api.deepseek.com";

  using HostedChatCompletionsAIService::HostedChatCompletionsAIService;

 protected:
  ChatCompletionsTarget target(const AIStreamRequest& request) const override;
};

class OpenRouterAIService;
using OpenRouterAIServiceError = ChatCompletionsMemberError<OpenRouterAIService>;

class OpenRouterAIService final : public HostedChatCompletionsAIService<OpenRouterAIService> {
 public:
  static constexpr AIProvider kProvider = AIProvider::kOpenRouter;
  static constexpr std::string_view kServiceName = "OpenRouter";
  static constexpr std::string_view kDefaultBaseURL = "https://openrouter.ai/api/v1";

  using HostedChatCompletionsAIService::HostedChatCompletionsAIService;

 protected:
  ChatCompletionsTarget target(const AIStreamRequest& request) const override;
};

class CloudflareWorkersAIService;
using CloudflareWorkersAIServiceError = ChatCompletionsMemberError<CloudflareWorkersAIService>;

class CloudflareWorkersAIService final : public HostedChatCompletionsAIService<CloudflareWorkersAIService> {
 public:
  static constexpr AIProvider kProvider = AIProvider::kCloudflareWorkersAI;
  static constexpr std::string_view kServiceName = "Cloudflare Workers AI";
  // "{account_id}" is replaced by the account id, read from the credential
  // store under "cloudflareWorkersAIAccountID" (CLOUDFLARE_ACCOUNT_ID wins
  // there), else the setting of that name; a base URL without it needs none.
  static constexpr std::string_view kDefaultBaseURL =
      "https://api.cloudflare.com/client/v4/accounts/{account_id}/ai/v1";

  using HostedChatCompletionsAIService::HostedChatCompletionsAIService;

 protected:
  ChatCompletionsTarget target(const AIStreamRequest& request) const override;
};

class ZAICodingPlanAIService;
using ZAICodingPlanAIServiceError = ChatCompletionsMemberError<ZAICodingPlanAIService>;

class ZAICodingPlanAIService final : public HostedChatCompletionsAIService<ZAICodingPlanAIService> {
 public:
  static constexpr AIProvider kProvider = AIProvider::kZAICodingPlan;
  static constexpr std::string_view kServiceName = "GLM Coding Plan";

  using HostedChatCompletionsAIService::HostedChatCompletionsAIService;

 protected:
  ChatCompletionsTarget target(const AIStreamRequest& request) const override;
};

class OpenCodeAIService;
using OpenCodeAIServiceError = ChatCompletionsMemberError<OpenCodeAIService>;

class OpenCodeAIService final : public HostedChatCompletionsAIService<OpenCodeAIService> {
 public:
  static constexpr AIProvider kProvider = AIProvider::kOpenCode;
  static constexpr std::string_view kServiceName = "OpenCode";

  // The plan a request for `modelName` goes to: the chosen plan, else the
  // first plan that offers the model; nullopt when the chosen plan lacks it.
  static std::optional<OpenCodePlan> planFor(std::string_view modelName, std::optional<OpenCodePlan> chosen);

  using HostedChatCompletionsAIService::HostedChatCompletionsAIService;

 protected:
  ChatCompletionsTarget target(const AIStreamRequest& request) const override;
};

class CustomOpenAIServiceError : public AIServiceError {
 public:
  CustomOpenAIServiceError(std::string_view providerName, const AIStreamFailure& failure)
      : AIServiceError(providerName, failure.code, failure.detail, failure.status) {}
};

// A user-defined endpoint from `customOpenAIProviders`. Its key
// ("customOpenAIAPIKey." + id) is optional: local servers take none.
class CustomOpenAIService final : public ChatCompletionsAIService {
 public:
  CustomOpenAIService(AIHTTPClient& http, AICredentialStore& credentials, AIModelCatalog catalog,
                      std::optional<std::string> baseURL);

 protected:
  ChatCompletionsTarget target(const AIStreamRequest& request) const override;
  [[noreturn]] void raise(const AIStreamRequest& request, const AIStreamFailure& failure) const override;

 private:
  AICredentialStore& credentials_;
  AIModelCatalog catalog_;
  std::optional<std::string> baseURL_;
};

}  // namespace zephyl::ai
