// AIUsageRecord: one finished request as the usage store counts it, and the
// request kinds the store keeps apart.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ai/ai_provider.h"
#include "ai/ai_reported_usage.h"
#include "ai/reasoning_effort.h"

namespace zephyl::ai {

// Who asked: a generic request, an assistant chat turn, an Inline AI rewrite,
// a chat-title request.
enum class AIUsageRequestKind { kRequest, kChat, kInline, kTitle };

// "request", "chat", "inline", "title": the stored names.
std::string_view rawValue(AIUsageRequestKind kind);
std::optional<AIUsageRequestKind> aiUsageRequestKindFromRawValue(std::string_view text);

// The kind of a request whose AIPerformanceContext::kind is `performanceKind`:
// "assistant" or "chat", "inlineAI" or "inline", "chatTitle" or "title";
// anything else is a generic request.
AIUsageRequestKind usageKindOfPerformanceKind(std::string_view performanceKind);

struct AIUsageRecord {
  AIProvider provider = AIProvider::kCodex;
  std::string model;
  AIUsageRequestKind kind = AIUsageRequestKind::kRequest;
  std::optional<ReasoningEffort> reasoningEffort;
  // Every usage the service reported, each with the response it belongs to; the
  // store counts each response id once.
  std::vector<AIUsageReport> reports;
  std::chrono::steady_clock::duration duration{};

  bool operator==(const AIUsageRecord&) const = default;
};

}  // namespace zephyl::ai
