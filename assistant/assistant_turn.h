// AssistantTurn: one message of the user composed into the model input that is
// sent (system text, user text, attachments, the earlier messages) and the turn
// input that is stored with the message. Notes that do not fit the model's
// budget are cut, and carry the truncation marker; when even that is not
// enough, the oldest exchanges are left out and the notes carry the marker of
// a cut made on the whole context.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ai/ai_stream_request.h"
#include "assistant/ai_model_input.h"
#include "assistant/ai_note_context.h"
#include "assistant/chat_turn_input.h"

namespace zephyl::assistant {

struct AssistantTurnParts {
  std::string request;
  std::optional<AINoteContext> currentNote;
  std::vector<ai::AIAttachment> noteImages;               // the current note's images in document order
  std::vector<ChatTurnInput::ReferenceBlock> references;  // mentioned notes and other references
  std::vector<ai::AIAttachment> uploads;
  std::vector<ChatTurnInput::SelectedSkill> skills;
  std::optional<std::string> defaultPreferences;  // nullopt: the built-in text
  std::optional<std::string> customPreferences;   // the setting customAIInstructions
  std::vector<ChatMessage> history;               // the conversation so far
  // For a target that keeps no conversation between turns (an ACP agent opens
  // a session per turn) the user text carries the history, under
  // "## Conversation History"; otherwise the request's messages do.
  bool historyInUserText = false;
  // The bytes of an image the assistant generated earlier, shown to the model
  // again; unset or nullopt: left out.
  std::function<std::optional<ai::AIAttachment>(const ChatStoredImage&)> readStoredImage;
};

struct AssistantTurn {
  std::string systemText;
  std::string userText;                       // the request's input
  std::vector<ai::AIAttachment> attachments;  // the note's images, then the uploads
  // The earlier messages as the request carries them (empty when the user text
  // carries them): stored turns replayed, provider items and generated images
  // kept for the provider that produced them.
  std::vector<ai::AIHistoryMessage> history;
  ChatTurnInput turnInput;  // stored with the user message
  int truncatedNotes = 0;
  size_t droppedHistoryMessages = 0;  // the oldest ones, left out to fit the budget
};

// `messages` as a request's history: user messages from their stored turn
// input (else their text), assistant messages with their text, provider items
// and generated images; context, transient and unknown messages are skipped,
// and so are messages left with nothing to send.
std::vector<ai::AIHistoryMessage> replayedHistory(
    std::span<const ChatMessage> messages,
    const std::function<std::optional<ai::AIAttachment>(const ChatStoredImage&)>& readStoredImage = {});

// Composes the turn for `today` in `locale`. The current note, when there is
// one, is the first reference (its environment block); the attachment
// paragraph follows the request. When the texts do not fit `limits`, every
// note (current and mentioned) is cut to the same largest length that fits;
// when they do not fit with empty notes either, whole exchanges are left out
// from the oldest on, and the notes say "[Context truncated by Zephyl.]".
AssistantTurn composeAssistantTurn(const AssistantTurnParts& parts, std::chrono::year_month_day today,
                                   const std::string& locale, const ai::AIRequestLimits& limits);

}  // namespace zephyl::assistant
