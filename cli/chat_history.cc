#include "cli/chat_history.h"

#include "assistant/chat_history_retention.h"

namespace zephyl::cli {

ChatHistory::ChatHistory(CliContext& context)
    : images_(
          context.directories().dataDirectory + "/" + std::string(assistant::kChatSessionImagesFolderName),
          context.fileSystem(), [this] { return uuids_.makeUuid(); }),
      store_(context.directories().dataDirectory, context.fileSystem(), context.fileLocker(), context.clock(),
             images_) {
  store_.load();
  store_.applyRetention(assistant::chatHistoryRetention(context.settings()), context.clock().now());
}

const assistant::ChatSession& ChatHistory::resolve(const std::string& reference) {
  const assistant::ChatSession* found = store_.find(reference);
  if (found) return *found;
  for (const assistant::ChatSession& session : store_.sessions()) {
    if (reference.size() < 4 || !session.id.starts_with(reference)) continue;
    if (found) throw CliUsageError("chat id \"" + reference + "\" is ambiguous; give more of it");
    found = &session;
  }
  if (!found) throw CliUsageError("no chat with id \"" + reference + "\"; run zephyl chat list");
  return *found;
}

}  // namespace zephyl::cli
