// AssistantTurn: one message of the user composed into the model input that is
// sent (system text, user text, attachments) and the turn input that is stored
// with the message. Notes that do not fit the model's budget are cut, and carry
// the truncation marker.
#pragma once

#include <chrono>
#include <optional>
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
  std::vector<ChatMessage> history;
};

struct AssistantTurn {
  std::string systemText;
  std::string userText;                       // the request's input
  std::vector<ai::AIAttachment> attachments;  // the note's images, then the uploads
  ChatTurnInput turnInput;                    // stored with the user message
  int truncatedNotes = 0;
};

// Composes the turn for `today` in `locale`. The current note, when there is
// one, is the first reference (its environment block); the attachment
// paragraph follows the request. When the text does not fit `limits`, every
// note (current and mentioned) is cut to the same largest length that fits.
AssistantTurn composeAssistantTurn(const AssistantTurnParts& parts, std::chrono::year_month_day today,
                                   const std::string& locale, const ai::AIRequestLimits& limits);

}  // namespace zephyl::assistant
