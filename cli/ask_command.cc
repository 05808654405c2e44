// `zephyl ask`: one assistant turn about notes. The question, the current note
// and mentioned notes are composed into the assistant's prompt, sent through
// the provider stack, streamed to the terminal, and stored in the chat history.
#include "cli/ask_command.h"

#include <fstream>
#include <iterator>
#include <memory>

#include "agents/antigravity_acp_error.h"
#include "ai/ai_provider_availability.h"
#include "ai/ai_usage_store.h"
#include "ai/budgeted_ai_stream_provider.h"
#include "assistant/assistant_prompt_composer.h"
#include "assistant/assistant_turn.h"
#include "assistant/assistant_turn_error.h"
#include "assistant/chat_session_store.h"
#include "cli/agent_service_support.h"
#include "cli/ai_command_support.h"
#include "cli/ai_stream_event_json.h"
#include "cli/commands.h"
#include "cli/shown_note.h"
#include "cli/terminal.h"
#include "cli/terminal_markdown.h"
#include "core/utf8.h"
#include "editor/uuid_generator.h"

namespace zephyl::cli {
namespace {

using assistant::AssistantTurnError;
using TurnError = AssistantTurnError::Code;

constexpr std::string_view kCustomInstructionsKey = "customAIInstructions";

void requireEnabledProvider(CliContext& context, const std::string& model, ai::AIProvider provider) {
  // A custom agent needs no install or sign-in; an unknown one is refused when its server is made.
  if (model.starts_with(ai::kACPAgentModelPrefix)) return;
  CliAgentAvailability agent(context);
  const auto availability =
      ai::AIProviderAvailability::compute(context.settings(), agent, context.credentials());
  if (availability.isInstalled(provider)) return;
  if (provider == ai::AIProvider::kGemini) {
    // The agent's own texts say which step is missing: `zephyl agent install`, then `zephyl agent login`.
    using AgentError = agents::AntigravityACPError;
    throw CliFailure(
        AgentError(agent.isInstalled() ? AgentError::Code::kNeedsSignIn : AgentError::Code::kNotInstalled)
            .description());
  }
  throw CliFailure(std::string(AssistantTurnError::text(TurnError::kNoProviderEnabled)) +
                   "\nSet a key for the model's provider (" + std::string(ai::rawValue(provider)) +
                   ") with `zephyl auth set-key " + std::string(ai::rawValue(provider)) +
                   "` (it reads the key from standard input) or its environment variable, such as "
                   "OPENAI_API_KEY; `zephyl auth status` shows what is configured.");
}

std::string questionText(CliContext& context, const std::string& question) {
  if (!question.empty() && question != "-") return question;
  std::string text;
  if (context.streams().in != nullptr) text.assign(std::istreambuf_iterator<char>(*context.streams().in), {});
  return text;
}

std::chrono::year_month_day localToday(CliContext& context) {
  const auto midnight =
      core::parseIso8601(ai::AIUsageStore::calendarDay(context.clock().now(), {}) + "T00:00:00Z");
  return std::chrono::year_month_day(std::chrono::floor<std::chrono::days>(*midnight));
}

// The current note and the mentioned ones, read from the library.
void loadNotes(CliContext& context, const AskOptions& options, assistant::AssistantTurnParts& parts) {
  if (options.note.empty() && options.mentions.empty()) return;
  context.withRequiredDatabase([&](notes_store::NotesDatabaseConnection& connection) {
    if (!options.note.empty()) {
      const ShownNote note = loadShownNote(connection, options.note);
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
      const ShownNote note = loadShownNote(connection, mention);
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

// What streamed back, kept for the history.
struct Answer {
  std::string text;
  std::string reasoning;
  std::vector<ai::AIProviderResponseItem> items;
  bool searchedNotes = false;
  bool researchedWeb = false;
};

// Shows the answer as it streams: Markdown rendered on a terminal, plain
// otherwise; reasoning and tool progress on standard error when it is a terminal.
class AnswerDisplay {
 public:
  AnswerDisplay(CliContext& context, bool json)
      : context_(context),
        json_(json),
        printer_(context.streams().out),
        markdown_(useColor(context.environment(), context.streams().outIsTerminal)),
        dim_(useColor(context.environment(), context.streams().errIsTerminal)) {}

  void show(const ai::AIStreamEvent& event, Answer& answer) {
    if (json_) printer_.print(event);
    if (const auto* delta = event.as<ai::AIStreamEvent::AssistantMessageDelta>()) {
      answer.text += delta->text;
      write(delta->text);
    } else if (const auto* message = event.as<ai::AIStreamEvent::AssistantMessage>()) {
      // A complete text replaces the streamed one; what was shown already stays.
      if (message->text.starts_with(answer.text)) write(message->text.substr(answer.text.size()));
      answer.text = message->text;
    } else if (const auto* reasoning = event.as<ai::AIStreamEvent::ReasoningSummaryDelta>()) {
      answer.reasoning += reasoning->text;
      progress(reasoning->text);
    } else if (const auto* summary = event.as<ai::AIStreamEvent::ReasoningSummary>()) {
      answer.reasoning = summary->text;
    } else if (const auto* tool = event.as<ai::AIStreamEvent::ToolCallUpdated>()) {
      const auto kind = tool->update.kind;
      answer.searchedNotes |= kind == ai::AIToolKind::kNoteSearch || kind == ai::AIToolKind::kNoteCount;
      answer.researchedWeb |= kind == ai::AIToolKind::kWebSearch || kind == ai::AIToolKind::kWebFetch;
      progress("\n[" + std::string(ai::rawValue(kind)) + " " +
               std::string(ai::rawValue(tool->update.status)) +
               (tool->update.query ? ": " + *tool->update.query : std::string()) + "]\n");
    } else if (const auto* items = event.as<ai::AIStreamEvent::ProviderResponseItems>()) {
      answer.items.insert(answer.items.end(), items->items.begin(), items->items.end());
    }
  }

  void finish() {
    if (json_) return;
    auto& out = context_.streams().out;
    if (context_.streams().outIsTerminal) {
      out << markdown_.finish();
    } else if (wroteText_ && !endsWithNewline_) {
      out << '\n';
    }
    out.flush();
  }

  void printError(const std::string& message) {
    if (json_) printer_.printError(message);
  }

 private:
  void write(std::string_view text) {
    if (json_ || text.empty()) return;
    auto& out = context_.streams().out;
    out << (context_.streams().outIsTerminal ? markdown_.append(text) : std::string(text));
    out.flush();
    wroteText_ = true;
    endsWithNewline_ = text.back() == '\n';
  }

  void progress(std::string_view text) {
    if (json_ || !context_.streams().errIsTerminal) return;
    context_.streams().err << (dim_ ? "\x1b[2m" : "") << text << (dim_ ? "\x1b[0m" : "");
    context_.streams().err.flush();
  }

  CliContext& context_;
  bool json_;
  AIStreamEventPrinter printer_;
  StreamingMarkdownRenderer markdown_;
  bool dim_;
  bool wroteText_ = false;
  bool endsWithNewline_ = false;
};

}  // namespace

void runAsk(CliContext& context, const AskOptions& options) {
  const std::string question = questionText(context, options.question);
  if (core::trimWhiteSpace(question).empty())
    throw CliUsageError("ask needs a question (an argument, or - for standard input)");
  if (options.mentions.size() > static_cast<size_t>(assistant::kMaximumMentionedNotes)) {
    throw CliUsageError(std::string(AssistantTurnError::text(TurnError::kTooManyMentions)));
  }
  CliAIServices services(context, options.baseURL);
  ai::AIServiceFactory& factory = services.factory();
  const std::string model = chosenModel(context, options.model);
  const ai::AIProvider provider = factory.catalog().provider(model);
  if (!options.dryRun) requireEnabledProvider(context, model, provider);

  assistant::AssistantTurnParts parts;
  parts.request = question;
  loadNotes(context, options, parts);
  for (const auto& path : options.attachments) {
    try {
      parts.uploads.push_back(readAttachment(path));
    } catch (const CliUsageError&) {
      throw CliFailure(std::string(AssistantTurnError::text(TurnError::kAttachmentsUnavailable)) + "\n" +
                       std::string(AssistantTurnError::hint(TurnError::kAttachmentsUnavailable)));
    }
  }
  parts.customPreferences = context.settings().stringValue(std::string(kCustomInstructionsKey));

  core::FileSystem& files = context.fileSystem();
  editor::RandomUuidGenerator uuids;
  const std::string dataDirectory = context.directories().dataDirectory;
  assistant::ChatSessionImageStore images(dataDirectory + "/chat-images", files,
                                          [&uuids] { return uuids.makeUuid(); });
  assistant::ChatSessionStore sessions(dataDirectory, files, context.fileLocker(), context.clock(), images);
  std::optional<assistant::ChatSession> session;
  if (!options.chat.empty() && !options.newChat) {
    sessions.load();
    const assistant::ChatSession* found = sessions.find(options.chat);
    if (found == nullptr)
      throw CliUsageError("unknown chat \"" + options.chat + "\"; zephyl chat list shows them");
    session = *found;
    parts.history = found->messages;
  }

  ai::AIStreamRequest request;
  request.model = model;
  if (!options.effort.empty()) {
    request.reasoningEffort = ai::reasoningEffortFromRawValue(options.effort);
    if (!request.reasoningEffort) throw CliUsageError("unknown effort \"" + options.effort + "\"");
  }
  const auto limits =
      ai::BudgetedAIStreamProvider::catalogLimits(factory.catalog(), &context.settings())(request);
  const assistant::AssistantTurn turn =
      assistant::composeAssistantTurn(parts, localToday(context), {}, limits);
  if (turn.truncatedNotes > 0) context.streams().err << assistant::kNoteContextTruncatedText << '\n';

  const std::string sessionID = session ? session->id : uuids.makeUuid();
  request.input = turn.userText;
  request.instructions = turn.systemText;
  request.attachments = turn.attachments;
  request.conversationID = sessionID;
  request.webSearchMode = options.web == "always" ? ai::AIWebToolMode::kAlways
                          : options.web == "auto" ? ai::AIWebToolMode::kAutomatic
                                                  : ai::AIWebToolMode::kOff;
  request.transportRetryPolicy = ai::AITransportRetryPolicy::interactive();
  request.performanceContext =
      ai::AIPerformanceContext{"", "chat", provider, model, std::chrono::steady_clock::now()};

  if (options.dryRun) {
    const auto body = factory.requestBody(request);
    const core::JSONValue printed = core::JSONValue::Object{
        {"model", model},
        {"provider", ai::rawValue(provider)},
        {"instructions", request.instructions},
        {"input", request.input},
        {"request", body ? core::JSONValue::parse(*body) : core::JSONValue()},
    };
    context.streams().out << printed.serialized() << '\n';
    return;
  }

  const std::unique_ptr<ai::AIStreamProvider> stack = factory.makeProvider(model);
  AnswerDisplay display(context, options.json);
  Answer answer;
  bool completed = false;
  try {
    completed = streamUntilInterrupted(*stack, request,
                                       [&](const ai::AIStreamEvent& event) { display.show(event, answer); });
  } catch (const core::CancellationError&) {
    throw;
  } catch (const std::exception& error) {
    display.finish();
    display.printError(error.what());
    throw CliFailure(error.what());
  }
  display.finish();
  if (completed && core::trimWhiteSpace(answer.text).empty()) {
    const TurnError code = answer.searchedNotes   ? TurnError::kNoAnswerAfterNoteSearch
                           : answer.researchedWeb ? TurnError::kNoAnswerAfterWebResearch
                                                  : TurnError::kNoAnswer;
    display.printError(std::string(AssistantTurnError::text(code)));
    throw CliFailure(std::string(AssistantTurnError::text(code)));
  }

  // The turn and its answer (partial when interrupted) join the history.
  const core::TimePoint now = context.clock().now();
  assistant::ChatMessage userMessage;
  userMessage.id = uuids.makeUuid();
  userMessage.role = assistant::ChatMessageRole::kUser;
  userMessage.text = question;
  userMessage.turnInput = turn.turnInput;
  userMessage.createdAt = now;
  assistant::ChatMessage assistantMessage;
  assistantMessage.id = uuids.makeUuid();
  assistantMessage.role = assistant::ChatMessageRole::kAssistant;
  assistantMessage.text = answer.text;
  if (!answer.reasoning.empty()) assistantMessage.reasoningSummary = answer.reasoning;
  assistantMessage.providerResponseItems = answer.items;
  assistantMessage.createdAt = now;
  if (!session) {
    session.emplace();
    session->id = sessionID;
    session->noteContext = parts.currentNote;
    session->provider = provider;
    session->model = model;
    session->reasoningEffort = request.reasoningEffort;
    session->createdAt = now;
  }
  session->messages.push_back(std::move(userMessage));
  session->messages.push_back(assistantMessage);
  if (!sessions.put(*session)) context.streams().err << "zephyl: the chat could not be saved; see the log\n";

  if (options.json) {
    context.streams().out << core::JSONValue(core::JSONValue::Object{{"type", "chat"},
                                                                     {"id", sessionID},
                                                                     {"messageID", assistantMessage.id}})
                                 .serialized()
                          << '\n';
  }
  if (!completed) throw core::CancellationError();
}

void addAskCommand(CLI::App& app, CliContext& context) {
  auto* command =
      app.add_subcommand("ask", "Ask the assistant about your notes; the answer streams as it comes");
  auto options = std::make_shared<AskOptions>();
  command->add_option("QUESTION", options->question, "The question; - or nothing reads standard input");
  command->add_option("--note", options->note,
                      "The current note (URI, key or UUID): the context of the turn");
  command->add_option("--mention", options->mentions, "Add a note as a reference (repeatable, at most 8)");
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
