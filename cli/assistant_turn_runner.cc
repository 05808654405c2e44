#include "cli/assistant_turn_runner.h"

#include <algorithm>
#include <map>

#include "agents/antigravity_acp_error.h"
#include "ai/ai_provider_availability.h"
#include "ai/ai_service_error.h"
#include "ai/ai_settings_keys.h"
#include "ai/ai_usage_store.h"
#include "ai/budgeted_ai_stream_provider.h"
#include "assistant/assistant_prompt_composer.h"
#include "assistant/assistant_turn_error.h"
#include "assistant/chat_title_generation_service.h"
#include "cli/agent_service_support.h"
#include "cli/ai_command_support.h"
#include "cli/ai_stream_event_json.h"
#include "cli/assistant_web_tools.h"
#include "cli/notes_query_function_tool.h"
#include "cli/terminal.h"
#include "cli/terminal_markdown.h"
#include "core/logger.h"
#include "core/utf8.h"

namespace zephyl::cli {
namespace {

using assistant::AssistantTurnError;
using TurnError = AssistantTurnError::Code;

constexpr core::Logger kLog("AssistantTurnRunner");

constexpr std::string_view kCustomInstructionsKey = "customAIInstructions";

std::chrono::year_month_day localToday(CliContext& context) {
  const auto midnight =
      core::parseIso8601(ai::AIUsageStore::calendarDay(context.clock().now(), {}) + "T00:00:00Z");
  return std::chrono::year_month_day(std::chrono::floor<std::chrono::days>(*midnight));
}

// What streamed back, kept for the history.
struct Answer {
  std::string text;
  std::string reasoning;
  std::vector<ai::AIProviderResponseItem> items;
  std::vector<ai::AIStreamEvent::GeneratedImage> images;
  std::vector<std::string> toolCallOrder;
  std::map<std::string, assistant::ChatToolCall> toolCalls;  // by the call's id
  std::vector<std::string> sourceURLs;
  bool searchedNotes = false;
  bool researchedWeb = false;
};

assistant::ChatToolCall storedToolCall(const ai::AIToolCallUpdate& update) {
  assistant::ChatToolCall call;
  call.kind = update.kind;
  call.status = update.status;
  call.query = update.query;
  call.failureReason = update.failureReason;
  call.urls = update.urls;
  call.sourceURLs = update.sourceURLs;
  call.noteSources = update.noteSources;
  return call;
}

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
      if (!answer.toolCalls.contains(tool->update.id)) answer.toolCallOrder.push_back(tool->update.id);
      answer.toolCalls[tool->update.id] = storedToolCall(tool->update);
      progress("\n[" + std::string(ai::rawValue(kind)) + " " +
               std::string(ai::rawValue(tool->update.status)) +
               (tool->update.query ? ": " + *tool->update.query : std::string()) + "]\n");
    } else if (const auto* discarded = event.as<ai::AIStreamEvent::ToolCallDiscarded>()) {
      answer.toolCalls.erase(discarded->id);
      std::erase(answer.toolCallOrder, discarded->id);
    } else if (const auto* sources = event.as<ai::AIStreamEvent::WebSourcesDiscovered>()) {
      answer.sourceURLs.insert(answer.sourceURLs.end(), sources->urls.begin(), sources->urls.end());
    } else if (const auto* items = event.as<ai::AIStreamEvent::ProviderResponseItems>()) {
      answer.items.insert(answer.items.end(), items->items.begin(), items->items.end());
    } else if (const auto* image = event.as<ai::AIStreamEvent::GeneratedImage>()) {
      answer.images.push_back(*image);
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

// The notes an answer drew on: those found by its notes queries that it names
// by title, else every note they found.
std::vector<ai::AINoteSource> notesUsed(const Answer& answer) {
  std::vector<ai::AINoteSource> found;
  for (const std::string& id : answer.toolCallOrder) {
    const auto& call = answer.toolCalls.at(id);
    if (call.kind != ai::AIToolKind::kNoteSearch && call.kind != ai::AIToolKind::kNoteCount) continue;
    for (const auto& source : call.noteSources) {
      if (std::ranges::find(found, source) == found.end()) found.push_back(source);
    }
  }
  std::vector<ai::AINoteSource> cited;
  for (const auto& source : found) {
    const std::string_view title = core::trimWhiteSpace(source.title);
    if (!title.empty() && answer.text.find(title) != std::string::npos) cited.push_back(source);
  }
  return cited.empty() ? found : cited;
}

}  // namespace

AssistantTurnChoice assistantTurnChoice(CliContext& context, ai::AIServiceFactory& factory,
                                        const std::string& model, const std::string& effort) {
  AssistantTurnChoice choice;
  choice.model = chosenModel(context, model);
  choice.provider = factory.catalog().provider(choice.model);
  if (!effort.empty()) {
    choice.effort = ai::reasoningEffortFromRawValue(effort);
    if (!choice.effort) throw CliUsageError("unknown effort \"" + effort + "\"");
  }
  ai::AIStreamRequest probe;
  probe.model = choice.model;
  probe.reasoningEffort = choice.effort;
  choice.limits = ai::BudgetedAIStreamProvider::catalogLimits(factory.catalog(), &context.settings())(probe);
  return choice;
}

void requireEnabledProvider(CliContext& context, const AssistantTurnChoice& choice) {
  // A custom agent needs no install or sign-in; an unknown one is refused when its server is made.
  if (choice.model.starts_with(ai::kACPAgentModelPrefix)) return;
  const ai::AIProvider provider = choice.provider;
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

AssistantTurnRunner::AssistantTurnRunner(CliContext& context, ChatHistory& chats,
                                         ai::AIServiceFactory* titles, bool json)
    : context_(context), chats_(chats), titles_(titles), json_(json) {}

PreparedAssistantTurn AssistantTurnRunner::prepare(assistant::ChatSession& session,
                                                   assistant::AssistantTurnParts parts,
                                                   const AssistantTurnChoice& choice) {
  if (session.id.empty()) session.id = chats_.makeID();
  if (session.messages.empty() && !session.noteContext) session.noteContext = parts.currentNote;
  if (!parts.customPreferences)
    parts.customPreferences = context_.settings().stringValue(std::string(kCustomInstructionsKey));
  parts.history = session.messages;
  // Agents answer each turn in a fresh session of their own.
  parts.historyInUserText = choice.provider == ai::AIProvider::kGemini;
  parts.readStoredImage =
      [this, &session](const assistant::ChatStoredImage& image) -> std::optional<ai::AIAttachment> {
    auto bytes = chats_.images().read(session.id, image);
    if (!bytes) return std::nullopt;
    return ai::AIAttachment{image.relativePath, assistant::chatImageMimeType(image.mimeSubtype),
                            std::move(*bytes)};
  };
  const assistant::AssistantTurn turn =
      assistant::composeAssistantTurn(parts, localToday(context_), {}, choice.limits);

  PreparedAssistantTurn prepared;
  ai::AIStreamRequest& request = prepared.request;
  request.model = choice.model;
  request.reasoningEffort = choice.effort;
  request.input = turn.userText;
  request.instructions = turn.systemText;
  request.attachments = turn.attachments;
  request.history = turn.history;
  request.conversationID = session.id;
  request.webSearchMode = choice.webSearchMode;
  request.allowsLocalNotesQuery = true;
  request.functionTools.push_back(std::make_shared<NotesQueryFunctionTool>(context_));
  addAssistantWebTools(context_, choice.provider, request);
  request.transportRetryPolicy = ai::AITransportRetryPolicy::interactive();
  request.performanceContext =
      ai::AIPerformanceContext{"", "chat", choice.provider, choice.model, std::chrono::steady_clock::now()};
  prepared.turnInput = turn.turnInput;
  prepared.truncatedNotes = turn.truncatedNotes;
  if (turn.truncatedNotes > 0) context_.streams().err << assistant::kNoteContextTruncatedText << '\n';
  return prepared;
}

AssistantTurnResult AssistantTurnRunner::run(assistant::ChatSession& session, const std::string& question,
                                             const PreparedAssistantTurn& turn,
                                             const AssistantTurnChoice& choice,
                                             ai::AIStreamProvider& provider) {
  AnswerDisplay display(context_, json_);
  Answer answer;
  bool completed = false;
  try {
    completed = streamUntilInterrupted(provider, turn.request,
                                       [&](const ai::AIStreamEvent& event) { display.show(event, answer); });
  } catch (const core::CancellationError&) {
    throw;
  } catch (const ai::AIServiceError& error) {
    // The assistant names the remedy for attachments in its own words.
    const std::string text = error.code() == ai::AIServiceError::Code::kImagesNotSupported
                                 ? std::string(AssistantTurnError::text(TurnError::kAttachmentsNotSupported))
                                 : error.what();
    display.finish();
    display.printError(text);
    throw CliFailure(text);
  } catch (const std::exception& error) {
    display.finish();
    display.printError(error.what());
    throw CliFailure(error.what());
  }
  display.finish();
  if (const auto used = notesUsed(answer); !json_ && !used.empty() && !answer.text.empty()) {
    auto& out = context_.streams().out;
    out << "\nNotes used:\n";
    for (const auto& note : used) out << "- " << note.title << " (" << note.noteID << ")\n";
    out.flush();
  }
  if (completed && core::trimWhiteSpace(answer.text).empty() && answer.images.empty()) {
    const TurnError code = answer.searchedNotes   ? TurnError::kNoAnswerAfterNoteSearch
                           : answer.researchedWeb ? TurnError::kNoAnswerAfterWebResearch
                                                  : TurnError::kNoAnswer;
    display.printError(std::string(AssistantTurnError::text(code)));
    throw CliFailure(std::string(AssistantTurnError::text(code)));
  }

  // The turn and its answer (partial when interrupted) join the history.
  const bool isNew = session.messages.empty();
  if (session.id.empty()) session.id = chats_.makeID();
  if (isNew) session.createdAt = context_.clock().now();
  session.provider = choice.provider;
  session.model = choice.model;
  session.reasoningEffort = choice.effort;
  const core::TimePoint now = context_.clock().now();
  assistant::ChatMessage userMessage;
  userMessage.id = chats_.makeID();
  userMessage.role = assistant::ChatMessageRole::kUser;
  userMessage.text = question;
  userMessage.turnInput = turn.turnInput;
  userMessage.createdAt = now;
  assistant::ChatMessage assistantMessage;
  assistantMessage.id = chats_.makeID();
  assistantMessage.role = assistant::ChatMessageRole::kAssistant;
  assistantMessage.text = answer.text;
  if (!answer.reasoning.empty()) assistantMessage.reasoningSummary = answer.reasoning;
  assistantMessage.providerResponseItems = answer.items;
  for (const std::string& id : answer.toolCallOrder)
    assistantMessage.toolCalls.push_back(answer.toolCalls[id]);
  for (const std::string& url : answer.sourceURLs)
    assistantMessage.webSearchSources.push_back({url, std::nullopt});
  std::vector<assistant::ChatImageData> images;
  for (const auto& image : answer.images) {
    if (auto subtype = assistant::chatImageSubtype(image.mediaType))
      images.push_back({*subtype, image.bytes});
  }
  if (!images.empty()) {
    assistantMessage.imageAttachments =
        chats_.images().save(session.id, images, assistant::ChatSessionImageStore::Purpose::kGeneratedImage);
  }
  assistantMessage.createdAt = now;
  session.messages.push_back(std::move(userMessage));
  session.messages.push_back(assistantMessage);
  if (!chats_.store().put(session))
    context_.streams().err << "zephyl: the chat could not be saved; see the log\n";
  // A stopped answer is not worth a second request: the chat stays untitled.
  if (isNew && completed) nameChat(session, choice);
  return {session.id, assistantMessage.id, completed};
}

void AssistantTurnRunner::nameChat(assistant::ChatSession& session, const AssistantTurnChoice& choice) {
  if (titles_ == nullptr) return;
  auto& settings = context_.settings();
  const auto configured = settings.stringValue(std::string(ai::kAutoChatTitleModelKey));
  const std::string model = configured && !configured->empty() ? *configured : choice.model;
  std::optional<ai::ReasoningEffort> effort;
  if (const auto stored = settings.stringValue(std::string(ai::kAutoChatTitleReasoningEffortKey)))
    effort = ai::reasoningEffortFromRawValue(*stored);
  try {
    const std::unique_ptr<ai::AIStreamProvider> provider = titles_->makeProvider(model);
    // Models of the gemini provider are answered by the Antigravity agent, which
    // would have to be started for them.
    assistant::ChatTitleGenerationService service(
        *provider, [](ai::AIProvider candidate) { return candidate == ai::AIProvider::kGemini; });
    const auto title =
        service.generateTitle(session.messages, titles_->catalog().provider(model), model, effort);
    if (!title) return;
    session.generatedTitle = *title;
    chats_.store().setGeneratedTitle(session.id, *title);
  } catch (const std::exception& error) {
    kLog.error() << "Failed to generate chat title: " << error.what();
  }
}

}  // namespace zephyl::cli
