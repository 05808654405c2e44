// AssistantTurnRunner: one turn of the assistant as the commands run it
// (`zephyl ask`, `zephyl chat`, and any command that answers through a chat).
// The parts of the turn are composed with the conversation so far, streamed
// through a provider to the terminal (Markdown rendered on a terminal, plain
// otherwise, or the stream's JSON event lines), and the exchange joins the
// chat, saved at once; a new chat is then named by the title service.
//
// Ctrl-C stops the answer being streamed: what came so far is kept and stored.
#pragma once

#include <optional>
#include <string>

#include "ai/ai_provider.h"
#include "ai/ai_service_factory.h"
#include "ai/ai_stream_provider.h"
#include "ai/ai_stream_request.h"
#include "ai/reasoning_effort.h"
#include "assistant/assistant_turn.h"
#include "assistant/chat_session.h"
#include "cli/chat_history.h"
#include "cli/cli_context.h"

namespace zephyl::cli {

// The model a turn is sent to and how.
struct AssistantTurnChoice {
  std::string model;
  ai::AIProvider provider = ai::AIProvider::kOpenAIAPI;
  std::optional<ai::ReasoningEffort> effort;
  ai::AIWebToolMode webSearchMode = ai::AIWebToolMode::kOff;
  ai::AIRequestLimits limits;  // the budget notes and history are cut to
};

// `model` (empty: the assistant's model) with its provider and the limits the
// catalogue and settings give it. Throws CliUsageError for an unknown effort.
AssistantTurnChoice assistantTurnChoice(CliContext& context, ai::AIServiceFactory& factory,
                                        const std::string& model, const std::string& effort = "");

// Throws CliFailure with "Enable an AI provider in Settings first." and how to
// set a key, unless `provider` can be used.
void requireEnabledProvider(CliContext& context, ai::AIProvider provider);

// A turn composed and ready to send.
struct PreparedAssistantTurn {
  ai::AIStreamRequest request;
  assistant::ChatTurnInput turnInput;  // stored with the user message
  int truncatedNotes = 0;
};

struct AssistantTurnResult {
  std::string sessionID;
  std::string messageID;  // the assistant's message
  bool completed = true;  // false: Ctrl-C stopped the answer
};

class AssistantTurnRunner {
 public:
  // `json`: print the stream's event lines instead of the answer. `titles`
  // (may be null: chats stay untitled) makes the provider for chat titles.
  // Every argument must outlive the runner.
  AssistantTurnRunner(CliContext& context, ChatHistory& chats, ai::AIServiceFactory* titles, bool json);

  // The request of the next turn of `session`: the composed texts, the stored
  // messages as history, and the customAIInstructions setting as the user's
  // preferences. A new chat (empty id) gets its id and the turn's note context.
  PreparedAssistantTurn prepare(assistant::ChatSession& session, assistant::AssistantTurnParts parts,
                                const AssistantTurnChoice& choice);

  // Sends `turn` through `provider` and shows the answer as it streams; then
  // appends the user's `question` and the answer to `session`, with the
  // choice as its model, and saves it; a new chat is then given its title. A failure of the
  // stream, or an answer without text, throws CliFailure and stores nothing.
  AssistantTurnResult run(assistant::ChatSession& session, const std::string& question,
                          const PreparedAssistantTurn& turn, const AssistantTurnChoice& choice,
                          ai::AIStreamProvider& provider);

 private:
  void nameChat(assistant::ChatSession& session, const AssistantTurnChoice& choice);

  CliContext& context_;
  ChatHistory& chats_;
  ai::AIServiceFactory* titles_;
  bool json_;
};

}  // namespace zephyl::cli
