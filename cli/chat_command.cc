// `zephyl chat list|show|rm|rename`: the stored conversations of the assistant;
// `zephyl chat [ID]`: a conversation typed line by line, each line one turn.
#include <algorithm>
#include <memory>
#include <string>

#include "assistant/chat_history_retention.h"
#include "assistant/chat_history_summary.h"
#include "assistant/chat_session_json.h"
#include "assistant/chat_session_store.h"
#include "cli/ai_command_support.h"
#include "cli/assistant_turn_runner.h"
#include "cli/chat_history.h"
#include "cli/commands.h"
#include "cli/json_writer.h"
#include "cli/terminal.h"
#include "core/utf8.h"

namespace zephyl::cli {
namespace {

using assistant::ChatSession;

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

struct InteractiveOptions {
  std::string id;
  std::string model;
  std::string baseURL;
};

constexpr std::string_view kChatHelp =
    "Type a question and press Enter. /model ID changes the model, /new starts a new chat, /quit or Ctrl-D "
    "leaves; Ctrl-C stops an answer.";

// One line typed by the user: a command or a turn. Returns false to leave.
bool handleLine(CliContext& context, ai::AIServiceFactory& factory, AssistantTurnRunner& runner,
                const std::string& line, ChatSession& session, AssistantTurnChoice& choice) {
  auto& err = context.streams().err;
  const std::string text(core::trimWhiteSpace(line));
  if (text.empty()) return true;
  if (text == "/quit" || text == "/exit") return false;
  if (text == "/new") {
    session = ChatSession();
    err << "New chat.\n";
    return true;
  }
  if (text == "/model" || text.starts_with("/model ")) {
    const std::string model(core::trimWhiteSpace(std::string_view(text).substr(6)));
    if (!model.empty()) choice = assistantTurnChoice(context, factory, model);
    err << "Model: " << choice.model << '\n';
    return true;
  }
  if (text.starts_with("/")) {
    err << "Unknown command " << printable(text) << ". " << kChatHelp << '\n';
    return true;
  }
  try {
    requireEnabledProvider(context, choice.provider);
    assistant::AssistantTurnParts parts;
    parts.request = text;
    const PreparedAssistantTurn turn = runner.prepare(session, std::move(parts), choice);
    const std::unique_ptr<ai::AIStreamProvider> provider = factory.makeProvider(choice.model);
    const AssistantTurnResult result = runner.run(session, text, turn, choice, *provider);
    if (!result.completed) err << "[Stopped]\n";
  } catch (const CliFailure& failure) {
    err << "zephyl: " << printableLines(failure.what()) << '\n';
  }
  return true;
}

void runInteractiveChat(CliContext& context, const InteractiveOptions& options) {
  if (context.streams().in == nullptr) throw CliUsageError("chat reads its questions from standard input");
  CliAIServices services(context, options.baseURL);
  ai::AIServiceFactory& factory = services.factory();
  ChatHistory chats(context);
  ChatSession session;
  if (!options.id.empty()) session = chats.resolve(options.id);
  // A resumed chat goes on with its own model unless another is asked for.
  const std::string model = !options.model.empty() ? options.model : session.model.value_or("");
  AssistantTurnChoice choice = assistantTurnChoice(context, factory, model);
  if (options.model.empty() && session.reasoningEffort) choice.effort = session.reasoningEffort;
  AssistantTurnRunner runner(context, chats, &factory, false);

  auto& err = context.streams().err;
  const bool interactive = context.streams().inIsTerminal;
  if (interactive) {
    if (!session.id.empty())
      err << "Chat " << printable(assistant::displayTitle(session)) << " (" << session.messages.size()
          << " messages)\n";
    err << "Model: " << choice.model << ". " << kChatHelp << '\n';
  }
  std::string line;
  while (true) {
    if (interactive) {
      context.streams().out.flush();
      err << "\n> " << std::flush;
    }
    if (!std::getline(*context.streams().in, line)) {
      if (interactive) err << '\n';
      break;  // Ctrl-D
    }
    if (!handleLine(context, factory, runner, line, session, choice)) break;
  }
}

}  // namespace

void addChatCommand(CLI::App& app, CliContext& context) {
  auto* chat = app.add_subcommand(
      "chat", "Talk with the assistant (a new chat, or ID resumed), or manage the stored conversations");
  chat->require_subcommand(0, 1);
  auto interactive = std::make_shared<InteractiveOptions>();
  chat->add_option("ID", interactive->id, "The chat to resume (default: a new one)");
  chat->add_option("--model", interactive->model, "Model id (default: the chat's, else the assistant's)");
  chat->add_option("--base-url", interactive->baseURL, "Replace the provider's base URL for this run");
  chat->callback([&context, chat, interactive] {
    if (chat->get_subcommands().empty()) runInteractiveChat(context, *interactive);
  });

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
