// AIModelInput: the composed parts of one model input before they become the
// user text: instructions, preferences, skills, earlier messages, references
// and the request of this turn.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "assistant/chat_turn_input.h"

namespace zephyl::assistant {

// Context messages are cards for the reader and are never replayed.
enum class AIConversationRole { kContext, kUser, kAssistant };

// An earlier message of the conversation as the composition reads it: its role
// and either its content or, for a user turn, the stored turn input.
struct AIConversationMessage {
  AIConversationRole role = AIConversationRole::kUser;
  std::string content;
  std::optional<ChatTurnInput> turnInput;
};

struct AIModelInput {
  std::string appInstructions;  // the system text
  std::optional<std::string> defaultPreferences;
  std::optional<std::string> customPreferences;
  std::vector<SelectedSkill> skills;
  std::vector<AIConversationMessage> earlierMessages;
  std::vector<ChatTurnInput::ReferenceBlock> references;
  std::string request;
};

}  // namespace zephyl::assistant
