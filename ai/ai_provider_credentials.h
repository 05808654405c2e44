// Which credential-store secrets each provider is sent with.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "ai/ai_provider.h"

namespace zephyl::ai {

// The secret that holds `provider`'s API key or token; nullopt for codex (it
// signs in), gemini (the Antigravity agent signs in itself) and customOpenAI
// (one key per custom provider: customOpenAIAPIKeyName). For xaiAccount, the
// API key that serves where no account is signed in.
std::optional<std::string_view> apiKeySecretName(AIProvider provider);

// The secret that holds an account provider's sign-in tokens (codex,
// xaiAccount); nullopt for the others.
std::optional<std::string_view> accountTokensSecretName(AIProvider provider);

}  // namespace zephyl::ai
