#include "assistant/chat_history_retention.h"

#include <chrono>

namespace zephyl::assistant {

std::optional<ChatHistoryRetention> chatHistoryRetentionFromDays(int64_t count) {
  switch (count) {
    case 7:
      return ChatHistoryRetention::kSevenDays;
    case 30:
      return ChatHistoryRetention::kThirtyDays;
    case 0:
      return ChatHistoryRetention::kNever;
    default:
      return std::nullopt;
  }
}

int64_t days(ChatHistoryRetention retention) {
  switch (retention) {
    case ChatHistoryRetention::kSevenDays:
      return 7;
    case ChatHistoryRetention::kThirtyDays:
      return 30;
    case ChatHistoryRetention::kNever:
      return 0;
  }
  return 0;
}

ChatHistoryRetention chatHistoryRetention(core::SettingsStore& settings) {
  const auto stored = settings.integerValue(std::string(kChatHistoryRetentionDaysKey));
  if (!stored) return kDefaultChatHistoryRetention;
  return chatHistoryRetentionFromDays(*stored).value_or(kDefaultChatHistoryRetention);
}

std::vector<std::string> expiredChatSessionIDs(const std::vector<ChatSession>& sessions,
                                               ChatHistoryRetention retention, core::TimePoint now) {
  std::vector<std::string> expired;
  if (retention == ChatHistoryRetention::kNever) return expired;
  const core::TimePoint cutoff = now - std::chrono::days(days(retention));
  for (const ChatSession& session : sessions) {
    if (lastActivity(session) < cutoff) expired.push_back(session.id);
  }
  return expired;
}

}  // namespace zephyl::assistant
