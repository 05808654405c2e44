// `zephyl ask`: one assistant turn about notes. The question, the current note
// and mentioned notes are composed into the assistant's prompt, sent through
// the provider stack, streamed to the terminal, and stored in the chat history.
#include <fstream>
#include <iterator>
#include <memory>

#include "assistant/assistant_turn.h"
#include "assistant/assistant_turn_error.h"
#include "cli/ai_command_support.h"
#include "cli/assistant_turn_runner.h"
#include "cli/chat_history.h"
#include "cli/commands.h"
#include "cli/note_reference.h"
#include "cli/skill_library.h"
#include "core/utf8.h"

namespace zephyl::cli {
namespace {

using assistant::AssistantTurnError;
using TurnError = AssistantTurnError::Code;

struct AskOptions {
  std::string question;
  std::string note;
  std::vector<std::string> mentions;
  std::vector<std::string> skills;
  std::string model;
  std::string effort;
  std::string web = "off";
  std::vector<std::string> attachments;
  std::string chat;
  bool newChat = false;
  bool json = false;
  bool dryRun = false;
  std::string baseURL;
};

std::string questionText(CliContext& context, const std::string& question) {
  if (!question.empty() && question != "-") return question;
  std::string text;
  if (context.streams().in != nullptr) text.assign(std::istreambuf_iterator<char>(*context.streams().in), {});
  return text;
}

// The current note and the mentioned ones, read from the library.
void loadNotes(CliContext& context, const AskOptions& options, assistant::AssistantTurnParts& parts) {
  if (options.note.empty() && options.mentions.empty()) return;
  context.withRequiredDatabase([&](notes_store::NotesDatabaseConnection& connection) {
    if (!options.note.empty()) {
      const notes_store::RenderedNote note = renderReferencedNote(connection, options.note);
      if (note.locked) throw CliFailure(std::string(AssistantTurnError::text(TurnError::kNoteUnavailable)));
      assistant::AINoteContext noteContext;
      noteContext.appName = "Notes";
      noteContext.isAppleNotesActive = true;
      noteContext.noteText = note.markdown;
      noteContext.noteID = note.id;
      noteContext.noteTitle = note.title;
      noteContext.sourceBundleID = "com.apple.Notes";
      noteContext.capturedAt = context.clock().now();
      parts.currentNote = std::move(noteContext);
    }
    bool failed = false;
    for (const auto& mention : options.mentions) {
      const notes_store::RenderedNote note = renderReferencedNote(connection, mention);
      if (note.locked || note.markdown.empty()) {
        context.streams().err << AssistantTurnError::text(TurnError::kNoteUnavailable) << ": " << mention
                              << '\n';
        failed = true;
        continue;
      }
      parts.references.push_back(
          {assistant::ChatTurnInput::ReferenceKind::kNote, note.title, std::nullopt, note.markdown});
    }
    if (failed) throw CliFailure(std::string(AssistantTurnError::text(TurnError::kNotesNotLoaded)));
    return true;
  });
}

void runAsk(CliContext& context, const AskOptions& options) {
  const std::string question = questionText(context, options.question);
  if (core::trimWhiteSpace(question).empty())
    throw CliUsageError("ask needs a question (an argument, or - for standard input)");
  if (options.mentions.size() > static_cast<size_t>(assistant::kMaximumMentionedNotes)) {
    throw CliUsageError(std::string(AssistantTurnError::text(TurnError::kTooManyMentions)));
  }
  CliAIServices services(context, options.baseURL);
  ai::AIServiceFactory& factory = services.factory();
  AssistantTurnChoice choice = assistantTurnChoice(context, factory, options.model, options.effort);
  choice.webSearchMode = options.web == "always" ? ai::AIWebToolMode::kAlways
                         : options.web == "auto" ? ai::AIWebToolMode::kAutomatic
                                                 : ai::AIWebToolMode::kOff;
  if (!options.dryRun) requireEnabledProvider(context, choice);

  assistant::AssistantTurnParts parts;
  parts.request = question;
  loadNotes(context, options, parts);
  for (const auto& skill : options.skills) parts.skills.push_back(loadSkill(context, skill));
  for (const auto& path : options.attachments) {
    try {
      parts.uploads.push_back(readAttachment(path));
    } catch (const CliUsageError&) {
      throw CliFailure(std::string(AssistantTurnError::text(TurnError::kAttachmentsUnavailable)) + "\n" +
                       std::string(AssistantTurnError::hint(TurnError::kAttachmentsUnavailable)));
    }
  }

  ChatHistory chats(context);
  assistant::ChatSession session;
  if (!options.chat.empty() && !options.newChat) session = chats.resolve(options.chat);
  AssistantTurnRunner runner(context, chats, &factory, options.json);
  const PreparedAssistantTurn turn = runner.prepare(session, std::move(parts), choice);

  if (options.dryRun) {
    const auto body = factory.requestBody(turn.request);
    const core::JSONValue printed = core::JSONValue::Object{
        {"model", choice.model},
        {"provider", ai::rawValue(choice.provider)},
        {"instructions", turn.request.instructions},
        {"input", turn.request.input},
        {"request", body ? core::JSONValue::parse(*body) : core::JSONValue()},
    };
    context.streams().out << printed.serialized() << '\n';
    return;
  }

  const std::unique_ptr<ai::AIStreamProvider> stack = factory.makeProvider(choice.model);
  const AssistantTurnResult result = runner.run(session, question, turn, choice, *stack);
  if (options.json) {
    context.streams().out << core::JSONValue(core::JSONValue::Object{{"type", "chat"},
                                                                     {"id", result.sessionID},
                                                                     {"messageID", result.messageID}})
                                 .serialized()
                          << '\n';
  }
  if (!result.completed) throw core::CancellationError();
}

}  // namespace

void addAskCommand(CLI::App& app, CliContext& context) {
  auto* command =
      app.add_subcommand("ask", "Ask the assistant about your notes; the answer streams as it comes");
  auto options = std::make_shared<AskOptions>();
  command->add_option("QUESTION", options->question, "The question; - or nothing reads standard input");
  command->add_option("--note", options->note,
                      "The current note (URI, key or UUID): the context of the turn");
  command->add_option("--mention", options->mentions, "Add a note as a reference (repeatable, at most 8)");
  command->add_option("--skill", options->skills, "Follow a skill of the \"Skills\" folder (repeatable)");
  command->add_option("--model", options->model, "Model id (default: the assistant's model)");
  command->add_option("--effort", options->effort, "Reasoning effort: none, low, medium, high, xhigh, max");
  command->add_option("--web", options->web, "Web search: off, auto or always")
      ->check(CLI::IsMember({"off", "auto", "always"}));
  command->add_option("--attach", options->attachments, "Attach a file (repeatable)");
  auto* chat = command->add_option("--chat", options->chat, "Continue the chat with this id");
  command->add_flag("--new", options->newChat, "Start a new chat (the default)")->excludes(chat);
  command->add_flag("--json", options->json,
                    "Print the stream's event lines and a last {type: chat, id, messageID}");
  command->add_flag("--dry-run", options->dryRun,
                    "Send nothing; print {model, provider, instructions, input, request} with the HTTP body");
  command->add_option("--base-url", options->baseURL, "Replace the provider's base URL for this run");
  command->callback([&context, options] { runAsk(context, *options); });
}

}  // namespace zephyl::cli
