// AIStreamRequest: one request to an AI service, as the assistant and Inline AI
// build it. The adapters turn it into their service's wire format.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ai/ai_function_tool.h"
#include "ai/ai_provider.h"
#include "ai/ai_provider_response_item.h"
#include "ai/ai_transport_retry_policy.h"
#include "ai/reasoning_effort.h"

namespace zephyl::ai {

// Tracing for timing logs only.
struct AIPerformanceContext {
  std::string requestID;
  std::string kind;  // "assistant", "inlineAI", "chatTitle", ...
  std::optional<AIProvider> provider;
  std::string model;
  std::chrono::steady_clock::time_point startTime;
};

struct AIAttachment {
  std::string name;
  std::string mediaType;
  std::string bytes;
};

// An earlier message of the conversation, as the request carries it.
struct AIHistoryMessage {
  enum class Role { kUser, kAssistant, kSystem, kTool };
  Role role = Role::kUser;
  std::vector<std::string> textParts;
  // Raw output items the service returned with this message, replayed to the
  // provider that produced them.
  std::vector<AIProviderResponseItem> providerItems{};
  // Images the assistant generated in this message, shown to the model again.
  std::vector<AIAttachment> generatedImages{};
};

// kAlways demands a search on every turn.
enum class AIWebToolMode { kOff, kAutomatic, kAlways, kProviderNative };

// Limits a caller already knows for this request (they win over the catalogue).
struct AIRequestLimits {
  std::optional<int64_t> contextLimitTokens;
  std::optional<int64_t> maxOutputTokens;
};

// Every member has a default, so that a caller names only what it sets.
struct AIStreamRequest {
  std::string input{};         // the current request, already assembled
  std::string instructions{};  // the system text sent beside the input
  std::string model{};         // model id
  std::optional<ReasoningEffort> reasoningEffort{};
  std::optional<AIPerformanceContext> performanceContext{};
  std::optional<std::string> resumeThreadID{};
  std::optional<std::string> conversationID{};  // the Responses prompt-cache key
  std::vector<AIAttachment> attachments{};
  std::vector<AIHistoryMessage> history{};
  AIWebToolMode webSearchMode = AIWebToolMode::kOff;
  AIWebToolMode webFetchMode = AIWebToolMode::kOff;
  std::vector<std::string> nativeWebFetchURLs{};
  bool allowsGeneratedImages = false;
  bool allowsLocalNotesQuery = false;
  // Tools Zephyl runs itself when the model calls them (the notes query tool
  // among them only counts where allowsLocalNotesQuery is set).
  std::vector<std::shared_ptr<AIFunctionTool>> functionTools{};
  AITransportRetryPolicy transportRetryPolicy{};
  std::optional<AIRequestLimits> limits{};
};

}  // namespace zephyl::ai
