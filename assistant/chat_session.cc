#include "assistant/chat_session.h"

#include <algorithm>

namespace zephyl::assistant {

std::string displayTitle(const ChatSession& session) {
  if (!session.title.empty()) return session.title;
  if (session.generatedTitle && !session.generatedTitle->empty()) return *session.generatedTitle;
  return "New Chat";
}

core::TimePoint lastActivity(const ChatSession& session) {
  core::TimePoint newest = session.createdAt;
  for (const ChatMessage& message : session.messages) newest = std::max(newest, message.createdAt);
  return newest;
}

}  // namespace zephyl::assistant
