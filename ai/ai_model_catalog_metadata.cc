#include "ai/ai_model_catalog_metadata.h"

#include <array>

#include "ai/ai_model_profile.h"

namespace zephyl::ai {
namespace {

struct Limits {
  std::string_view model;
  AIProvider provider;
  int64_t context;
  int64_t output;
};

// Every built-in model's limits in one place; the account-based ids (bare names)
// and their API twins share values.
constexpr auto kLimits = std::to_array<Limits>({
    {"gpt-6.1-sol", AIProvider::kCodex, 400'000, 128'000},
    {"gpt-6-astra", AIProvider::kCodex, 400'000, 128'000},
    {"gpt-6-sol", AIProvider::kCodex, 400'000, 128'000},
    {"gpt-6-luna", AIProvider::kCodex, 400'000, 128'000},
    {"gpt-5.6-sol", AIProvider::kCodex, 272'000, 128'000},
    {"gpt-5.6-terra", AIProvider::kCodex, 272'000, 128'000},
    {"gpt-5.6-luna", AIProvider::kCodex, 272'000, 128'000},
    {"gpt-5.5", AIProvider::kCodex, 272'000, 128'000},
    {"openai:gpt-6.1-sol", AIProvider::kOpenAIAPI, 400'000, 128'000},
    {"openai:gpt-6-astra", AIProvider::kOpenAIAPI, 400'000, 128'000},
    {"openai:gpt-6-sol", AIProvider::kOpenAIAPI, 400'000, 128'000},
    {"openai:gpt-6-luna", AIProvider::kOpenAIAPI, 400'000, 128'000},
    {"openai:gpt-5.6-sol", AIProvider::kOpenAIAPI, 272'000, 128'000},
    {"openai:gpt-5.6-terra", AIProvider::kOpenAIAPI, 272'000, 128'000},
    {"openai:gpt-5.6-luna", AIProvider::kOpenAIAPI, 272'000, 128'000},
    {"openai:gpt-5.5", AIProvider::kOpenAIAPI, 272'000, 128'000},
    {"grok-4.7", AIProvider::kXAIAccount, 256'000, 64'000},
    {"grok-4.6", AIProvider::kXAIAccount, 256'000, 64'000},
    {"grok-4.5", AIProvider::kXAIAccount, 256'000, 32'000},
    {"Gemini 3.8 Flash", AIProvider::kGemini, 1'048'576, 65'536},
    {"Gemini 3.7 Flash", AIProvider::kGemini, 1'048'576, 65'536},
    {"Gemini 3.6 Flash", AIProvider::kGemini, 1'048'576, 65'536},
    {"Gemini 3.1 Pro", AIProvider::kGemini, 1'048'576, 65'536},
    {"google:gemini-3.8-flash", AIProvider::kGoogleAPI, 1'048'576, 65'536},
    {"google:gemini-3.7-flash", AIProvider::kGoogleAPI, 1'048'576, 65'536},
    {"google:gemini-3.6-flash", AIProvider::kGoogleAPI, 1'048'576, 65'536},
    {"google:gemini-3.5-flash", AIProvider::kGoogleAPI, 1'048'576, 65'536},
    {"google:gemini-3.5-flash-lite", AIProvider::kGoogleAPI, 1'048'576, 65'536},
    {"google:gemini-3.1-flash-lite", AIProvider::kGoogleAPI, 1'048'576, 65'536},
    {"google:gemini-3.1-pro-preview", AIProvider::kGoogleAPI, 1'048'576, 65'536},
    {"openrouter:openrouter/auto", AIProvider::kOpenRouter, 128'000, 16'384},
    {"cloudflare:google/gemini-3.7-flash", AIProvider::kCloudflareWorkersAI, 1'048'576, 65'536},
    {"cloudflare:@cf/meta/llama-3.1-8b-instruct", AIProvider::kCloudflareWorkersAI, 7'968, 2'048},
    {"cloudflare:@cf/meta/llama-3.3-70b-instruct-fp8-fast", AIProvider::kCloudflareWorkersAI, 24'000, 4'096},
    {"cloudflare:@cf/mistral/mistral-7b-instruct-v0.2", AIProvider::kCloudflareWorkersAI, 32'768, 4'096},
    {"cloudflare:@cf/qwen/qwen1.5-14b-chat-awq", AIProvider::kCloudflareWorkersAI, 7'500, 2'048},
    {"zai:glm-5.3-flash", AIProvider::kZAICodingPlan, 200'000, 128'000},
    {"zai:glm-5.3", AIProvider::kZAICodingPlan, 200'000, 128'000},
    {"deepseek:deepseek-flash", AIProvider::kDeepSeek, 128'000, 8'192},
    {"deepseek:deepseek-v4-pro", AIProvider::kDeepSeek, 128'000, 65'536},
    {"opencode:glm-5.3", AIProvider::kOpenCode, 200'000, 128'000},
    {"opencode:glm-5.3-flash", AIProvider::kOpenCode, 200'000, 128'000},
    {"opencode:kimi-k3", AIProvider::kOpenCode, 262'144, 32'768},
    {"opencode:kimi-k2.7-code", AIProvider::kOpenCode, 262'144, 32'768},
    {"opencode:deepseek-v4.1-flash", AIProvider::kOpenCode, 128'000, 8'192},
    {"opencode:deepseek-v4-pro", AIProvider::kOpenCode, 128'000, 65'536},
    {"opencode:mimo-v2.6-pro", AIProvider::kOpenCode, 131'072, 32'768},
    {"opencode:mimo-v2.6-flash", AIProvider::kOpenCode, 131'072, 32'768},
    {"opencode:minimax-m3", AIProvider::kOpenCode, 1'000'000, 40'960},
    {"opencode:qwen3.8-max", AIProvider::kOpenCode, 262'144, 65'536},
    {"opencode:qwen3.8-flash", AIProvider::kOpenCode, 1'000'000, 32'768},
    {"opencode:qwen3.7-plus", AIProvider::kOpenCode, 1'000'000, 32'768},
    {"opencode:claude-haiku-5-5", AIProvider::kOpenCode, 200'000, 64'000},
    {"opencode:claude-fable-5-1", AIProvider::kOpenCode, 200'000, 64'000},
    {"opencode:claude-opus-5-5", AIProvider::kOpenCode, 200'000, 64'000},
    {"opencode:claude-sonnet-5-5", AIProvider::kOpenCode, 1'000'000, 64'000},
});

}  // namespace

std::optional<AIModelCatalogMetadata> AIModelCatalogMetadata::builtIn(std::string_view modelID) {
  const std::string_view canonical = canonicalAntigravityModelName(modelID);
  for (const auto& limits : kLimits) {
    if (limits.model == canonical) {
      return AIModelCatalogMetadata{std::string(limits.model), limits.provider, limits.context,
                                    limits.output};
    }
  }
  return std::nullopt;
}

}  // namespace zephyl::ai
