#include "assistant/chat_history_summary.h"

#include "assistant/chat_session_json.h"

namespace zephyl::assistant {
namespace {

int64_t bytesOf(const std::vector<ChatStoredImage>& images) {
  int64_t total = 0;
  for (const ChatStoredImage& image : images) total += image.byteCount;
  return total;
}

}  // namespace

ChatHistorySummary summarizeChatHistory(const std::vector<ChatSession>& sessions) {
  ChatHistorySummary summary;
  summary.chatCount = static_cast<int64_t>(sessions.size());
  for (const ChatSession& session : sessions) {
    summary.storageByteCount += static_cast<int64_t>(encodeChatSession(session).serialized().size());
    summary.storageByteCount += bytesOf(session.noteImages);
    if (session.noteContextSnapshot) summary.storageByteCount += bytesOf(session.noteContextSnapshot->images);
    for (const ChatMessage& message : session.messages)
      summary.storageByteCount += bytesOf(message.imageAttachments);
  }
  return summary;
}

}  // namespace zephyl::assistant
