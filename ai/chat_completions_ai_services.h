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

class DeepSeekAIServiceError : public AIServiceError {
 public:
  explicit DeepSeekAIServiceError(const AIStreamFailure& failure)
      : AIServiceError("DeepSeek", failure.code, failure.detail, failure.status) {}
};

class DeepSeekAIService final : public ChatCompletionsAIService {
 public:
  static constexpr std::string_view kDefaultBaseURL = "https://api.deepseek.com";

  // Both must outlive the service.
  DeepSeekAIService(AIHTTPClient& http, AICredentialStore& credentials, std::optional<std::string> baseURL);

 protected:
  ChatCompletionsTarget target(const AIStreamRequest& request) const override;
  [[noreturn]] void raise(const AIStreamRequest&, const AIStreamFailure& failure) const override {
    throw DeepSeekAIServiceError(failure);
  }

 private:
  AICredentialStore& credentials_;
  std::string baseURL_;
};

class OpenRouterAIServiceError : public AIServiceError {
 public:
  explicit OpenRouterAIServiceError(const AIStreamFailure& failure)
      : AIServiceError("OpenRouter", failure.code, failure.detail, failure.status) {}
};

class OpenRouterAIService final : public ChatCompletionsAIService {
 public:
  static constexpr std::string_view kDefaultBaseURL = "https://openrouter.ai/api/v1";

  OpenRouterAIService(AIHTTPClient& http, AICredentialStore& credentials, std::optional<std::string> baseURL);

 protected:
  ChatCompletionsTarget target(const AIStreamRequest& request) const override;
  [[noreturn]] void raise(const AIStreamRequest&, const AIStreamFailure& failure) const override {
    throw OpenRouterAIServiceError(failure);
  }

 private:
  AICredentialStore& credentials_;
  std::string baseURL_;
};

class CloudflareWorkersAIServiceError : public AIServiceError {
 public:
  explicit CloudflareWorkersAIServiceError(const AIStreamFailure& failure)
      : AIServiceError("Cloudflare Workers AI", failure.code, failure.detail, failure.status) {}
};

class CloudflareWorkersAIService final : public ChatCompletionsAIService {
 public:
  // "{account_id}" is replaced by the account id; a base URL without it needs none.
  static constexpr std::string_view kDefaultBaseURL =
      "https://api.cloudflare.com/client/v4/accounts/{account_id}/ai/v1";

  // The account id is read from the credential store under
  // "cloudflareWorkersAIAccountID" (CLOUDFLARE_ACCOUNT_ID wins there), else the
  // setting of that name. `settings` may be null.
  CloudflareWorkersAIService(AIHTTPClient& http, AICredentialStore& credentials,
                             core::SettingsStore* settings, std::optional<std::string> baseURL);

 protected:
  ChatCompletionsTarget target(const AIStreamRequest& request) const override;
  [[noreturn]] void raise(const AIStreamRequest&, const AIStreamFailure& failure) const override {
    throw CloudflareWorkersAIServiceError(failure);
  }

 private:
  AICredentialStore& credentials_;
  core::SettingsStore* settings_;
  std::string baseURL_;
};

class ZAICodingPlanAIServiceError : public AIServiceError {
 public:
  explicit ZAICodingPlanAIServiceError(const AIStreamFailure& failure)
      : AIServiceError("GLM Coding Plan", failure.code, failure.detail, failure.status) {}
};

class ZAICodingPlanAIService final : public ChatCompletionsAIService {
 public:
  ZAICodingPlanAIService(AIHTTPClient& http, AICredentialStore& credentials, core::SettingsStore* settings,
                         std::optional<std::string> baseURL);

 protected:
  ChatCompletionsTarget target(const AIStreamRequest& request) const override;
  [[noreturn]] void raise(const AIStreamRequest&, const AIStreamFailure& failure) const override {
    throw ZAICodingPlanAIServiceError(failure);
  }

 private:
  AICredentialStore& credentials_;
  core::SettingsStore* settings_;
  std::optional<std::string> baseURL_;
};

class OpenCodeAIServiceError : public AIServiceError {
 public:
  explicit OpenCodeAIServiceError(const AIStreamFailure& failure)
      : AIServiceError("OpenCode", failure.code, failure.detail, failure.status) {}
};

class OpenCodeAIService final : public ChatCompletionsAIService {
 public:
  OpenCodeAIService(AIHTTPClient& http, AICredentialStore& credentials, core::SettingsStore* settings,
                    std::optional<std::string> baseURL);

  // The plan a request for `modelName` goes to: the chosen plan, else the
  // first plan that offers the model; nullopt when the chosen plan lacks it.
  static std::optional<OpenCodePlan> planFor(std::string_view modelName, std::optional<OpenCodePlan> chosen);

 protected:
  ChatCompletionsTarget target(const AIStreamRequest& request) const override;
  [[noreturn]] void raise(const AIStreamRequest&, const AIStreamFailure& failure) const override {
    throw OpenCodeAIServiceError(failure);
  }

 private:
  AICredentialStore& credentials_;
  core::SettingsStore* settings_;
  std::optional<std::string> baseURL_;
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
