// `zephyl chat list|show|rm|rename`: the stored conversations of the assistant.
#include <algorithm>
#include <memory>
#include <string>

#include "assistant/chat_history_retention.h"
#include "assistant/chat_history_summary.h"
#include "assistant/chat_session_json.h"
#include "assistant/chat_session_store.h"
#include "cli/commands.h"
#include "cli/json_writer.h"
#include "cli/terminal.h"
#include "editor/uuid_generator.h"
#include "platform/linux/flock_file_locker.h"
#include "platform/linux/system_clock.h"

namespace zephyl::cli {
namespace {

using assistant::ChatSession;

// The store with its collaborators, opened for one command. Retention is
// applied on opening, as the application does at start.
class ChatHistory {
 public:
  explicit ChatHistory(CliContext& context)
      : images_(
            context.directories().dataDirectory + "/" + std::string(assistant::kChatSessionImagesFolderName),
            context.fileSystem(), [this] { return uuids_.makeUuid(); }),
        store_(context.directories().dataDirectory, context.fileSystem(), locker_, clock_, images_) {
    store_.load();
    store_.applyRetention(assistant::chatHistoryRetention(context.settings()), clock_.now());
  }

  assistant::ChatSessionStore& store() { return store_; }

  // The session named by its id or an unambiguous start of it.
  const ChatSession& resolve(const std::string& reference) {
    const ChatSession* found = store_.find(reference);
    if (found) return *found;
    for (const ChatSession& session : store_.sessions()) {
      if (reference.size() < 4 || !session.id.starts_with(reference)) continue;
      if (found) throw CliUsageError("chat id \"" + reference + "\" is ambiguous; give more of it");
      found = &session;
    }
    if (!found) throw CliUsageError("no chat with id \"" + reference + "\"; run zephyl chat list");
    return *found;
  }

 private:
  editor::RandomUuidGenerator uuids_;
  platform::FlockFileLocker locker_;
  platform::SystemClock clock_;
  assistant::ChatSessionImageStore images_;
  assistant::ChatSessionStore store_;
};

std::vector<const ChatSession*> newestFirst(const std::vector<ChatSession>& sessions) {
  std::vector<const ChatSession*> sorted;
  for (const ChatSession& session : sessions) sorted.push_back(&session);
  std::stable_sort(sorted.begin(), sorted.end(), [](const ChatSession* a, const ChatSession* b) {
    return assistant::lastActivity(*a) > assistant::lastActivity(*b);
  });
  return sorted;
}

void listChats(CliContext& context, bool asJson) {
  ChatHistory history(context);
  const auto sessions = newestFirst(history.store().sessions());
  auto& out = context.streams().out;
  if (asJson) {
    JsonWriter json(out);
    json.beginArray();
    for (const ChatSession* session : sessions) {
      json.beginObject();
      json.key("id").value(session->id);
      json.key("title").value(session->title);
      json.key("generatedTitle").value(session->generatedTitle);
      json.key("createdAt").time(session->createdAt);
      json.key("updatedAt").time(assistant::lastActivity(*session));
      json.key("messageCount").value(static_cast<int64_t>(session->messages.size()));
      json.key("model").value(session->model);
      json.endObject();
    }
    json.endArray();
    json.finish();
    return;
  }
  const size_t columns = terminalColumns() > 0 ? static_cast<size_t>(terminalColumns()) : 100;
  for (const ChatSession* session : sessions) {
    const std::string updated = core::formatIso8601(assistant::lastActivity(*session)).substr(0, 16);
    const std::string head = session->id.substr(0, 8) + "  " + updated + "  " +
                             padToWidth(std::to_string(session->messages.size()), 4) + "  ";
    out << head
        << truncateToWidth(assistant::displayTitle(*session),
                           columns > head.size() + 8 ? columns - head.size() : 8)
        << '\n';
  }
  const auto summary = assistant::summarizeChatHistory(history.store().sessions());
  out << summary.chatCount << (summary.chatCount == 1 ? " chat, " : " chats, ") << summary.storageByteCount
      << " bytes\n";
}

std::string_view roleLabel(const assistant::ChatMessage& message) {
  switch (message.role) {
    case assistant::ChatMessageRole::kUser:
      return "You";
    case assistant::ChatMessageRole::kAssistant:
      return "Assistant";
    case assistant::ChatMessageRole::kContext:
      return "Context";
    case assistant::ChatMessageRole::kLegacy:
      return message.legacyRole;
  }
  return {};
}

void showChat(CliContext& context, const std::string& id, bool asJson) {
  ChatHistory history(context);
  const ChatSession& session = history.resolve(id);
  auto& out = context.streams().out;
  if (asJson) {
    out << assistant::encodeChatSession(session).serialized() << '\n';
    return;
  }
  out << "# " << assistant::displayTitle(session) << "\n\n"
      << session.id << " · " << core::formatIso8601(session.createdAt)
      << (session.model ? " · " + *session.model : "") << '\n';
  for (const auto& message : session.messages) {
    if (message.isTransient) continue;
    out << "\n## " << roleLabel(message) << "\n\n";
    if (message.contextCard)
      out << message.contextCard->title << " — " << message.contextCard->subtitle << '\n';
    out << message.text << '\n';
    for (const auto& source : message.webSearchSources)
      out << "- " << source.title.value_or(source.url) << " <" << source.url << ">\n";
  }
}

}  // namespace

void addChatCommand(CLI::App& app, CliContext& context) {
  auto* chat = app.add_subcommand("chat", "Stored assistant conversations");
  chat->require_subcommand(1);

  auto* list = chat->add_subcommand("list", "List stored conversations, newest first");
  auto listJson = std::make_shared<bool>(false);
  list->add_flag("--json", *listJson,
                 "Print JSON: [{id, title, generatedTitle, createdAt, updatedAt, messageCount, model}]");
  list->callback([&context, listJson] { listChats(context, *listJson); });

  auto* show = chat->add_subcommand("show", "Print one conversation");
  auto showID = std::make_shared<std::string>();
  auto showJson = std::make_shared<bool>(false);
  show->add_option("ID", *showID, "The chat's id (or a unique start of it, four characters or more)")
      ->required();
  show->add_flag("--json", *showJson, "Print the stored session as JSON");
  show->callback([&context, showID, showJson] { showChat(context, *showID, *showJson); });

  auto* rm = chat->add_subcommand("rm", "Delete a conversation and its images");
  auto rmID = std::make_shared<std::string>();
  rm->add_option("ID", *rmID, "The chat's id")->required();
  rm->callback([&context, rmID] {
    ChatHistory history(context);
    const std::string id = history.resolve(*rmID).id;
    if (!history.store().remove({id}))
      throw CliFailure("Could not delete the chat: the history could not be saved");
    context.streams().out << "Deleted chat " << id << '\n';
  });

  auto* rename = chat->add_subcommand("rename", "Give a conversation a title");
  auto renameID = std::make_shared<std::string>();
  auto title = std::make_shared<std::string>();
  rename->add_option("ID", *renameID, "The chat's id")->required();
  rename->add_option("TITLE", *title, "The new title")->required();
  rename->callback([&context, renameID, title] {
    ChatHistory history(context);
    const std::string id = history.resolve(*renameID).id;
    if (!history.store().rename(id, *title))
      throw CliFailure("Could not rename the chat: the history could not be saved");
    context.streams().out << "Renamed chat " << id << '\n';
  });
}

}  // namespace zephyl::cli
