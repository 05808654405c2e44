// AIServiceFactory: the one place that turns a model id into a working
// AIStreamProvider. Every caller (the assistant, Inline AI, chat titles,
// `zephyl debug stream`) asks it; it wires the full stack around the
// provider's adapter:
//
//   BudgetedAIStreamProvider -> UsageRecordingAIStreamProvider -> adapter
//
// where the adapter sends through an AIHTTPClient (transport retry budget) to
// the provider's base URL: the per-run override (`--base-url`), else the
// `aiProviderBaseURLs` setting, else the service's own host. Adapters of a new
// provider family are added in makeAdapter() in the .cc, nowhere else.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "ai/ai_account_access.h"
#include "ai/ai_credential_store.h"
#include "ai/ai_http_client.h"
#include "ai/ai_image_generator.h"
#include "ai/ai_model_catalog.h"
#include "ai/ai_stream_provider.h"
#include "ai/usage_recording_ai_stream_provider.h"
#include "core/settings_store.h"

namespace zephyl::ai {

class AIServiceFactoryError : public core::Error {
 public:
  enum class Code { kProviderNotAvailable };

  // `provider` is named after the fixed text.
  AIServiceFactoryError(Code code, AIProvider provider)
      : Error(std::string(text(code)) + std::string(rawValue(provider))), code_(code), provider_(provider) {}

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kProviderNotAvailable:
        return "This version of Zephyl cannot send requests to this provider yet: ";
    }
    return {};
  }

  Code code() const { return code_; }
  AIProvider provider() const { return provider_; }

 private:
  Code code_;
  AIProvider provider_;
};

// What the adapters reach the outside world through. Everything referenced
// must outlive the factory and every provider it makes.
struct AIServiceDependencies {
  HTTPTransport& transport;
  MonotonicClock& clock;
  RandomSource& random;
  core::Clock& wallClock;
  AICredentialStore& credentials;  // environment variables already win inside it
  AIUsageRecorder& usageRecorder;
  core::SettingsStore* settings = nullptr;          // base URLs and context limits; null: none
  AIAccountAccessSource* chatGPTAccount = nullptr;  // null: nobody signed in with ChatGPT
  AIAccountAccessSource* xaiAccount = nullptr;      // null: no xAI account (an xAI API key may serve)
  AIImageGenerator* imageGenerator = nullptr;       // null: xAI images come from xAI's image endpoint
  // The gemini provider's adapter: an external agent spoken to over ACP, built
  // outside this library (agents/ sits above it). Called with the model id;
  // empty, or returning null: the provider is not available.
  std::function<std::unique_ptr<AIStreamProvider>(std::string_view modelID)> agentAdapter = {};
};

class AIServiceFactory {
 public:
  // `baseURLOverride` replaces the base URL of whichever provider a request goes to.
  AIServiceFactory(AIServiceDependencies dependencies, AIModelCatalog catalog,
                   std::optional<std::string> baseURLOverride = std::nullopt);

  // The full stack for the provider of `modelID`. The provider must not outlive
  // the factory. Throws AIServiceFactoryError for a provider without an adapter.
  std::unique_ptr<AIStreamProvider> makeProvider(std::string_view modelID) const;

  // The HTTP body the provider of `request.model` would send first, for dry
  // runs; nullopt for a provider without an adapter. Throws the adapter's
  // errors for a request it would refuse (an empty prompt, an attachment too large).
  std::optional<std::string> requestBody(const AIStreamRequest& request) const;

  // The root the provider's paths are appended to; empty for the providers
  // that choose it per request (Z.ai by region, OpenCode by plan, custom
  // providers by their settings) unless it is replaced.
  std::string baseURL(AIProvider provider) const;

  const AIModelCatalog& catalog() const { return catalog_; }

 private:
  // The override, else the `aiProviderBaseURLs` setting; none: the service's own.
  std::optional<std::string> replacedBaseURL(AIProvider provider) const;
  // The adapter of `modelID`'s provider sending through `http`, or null when none exists.
  std::unique_ptr<AIStreamProvider> makeAdapter(std::string_view modelID, AIHTTPClient& http) const;

  AIServiceDependencies dependencies_;
  AIModelCatalog catalog_;
  std::optional<std::string> baseURLOverride_;
};

}  // namespace zephyl::ai
