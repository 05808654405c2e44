// ChatHistorySummary: what the history list says about the stored history.
#pragma once

#include <cstdint>
#include <vector>

#include "assistant/chat_session.h"

namespace zephyl::assistant {

struct ChatHistorySummary {
  int64_t chatCount = 0;
  // The sessions' stored JSON plus the image files they reference.
  int64_t storageByteCount = 0;

  bool operator==(const ChatHistorySummary&) const = default;
};

ChatHistorySummary summarizeChatHistory(const std::vector<ChatSession>& sessions);

}  // namespace zephyl::assistant
