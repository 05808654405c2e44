// AIModelInput: the composed parts of one model input before they become the
// user text: instructions, preferences, skills, earlier messages, references
// and the request of this turn.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "assistant/chat_message.h"
#include "assistant/chat_turn_input.h"

namespace zephyl::assistant {

struct AIModelInput {
  std::string appInstructions;  // the system text
  std::optional<std::string> defaultPreferences;
  std::optional<std::string> customPreferences;
  std::vector<ChatTurnInput::SelectedSkill> skills;
  // User messages with a stored turn input are replayed from it; context
  // messages (and roles this version does not know) are never replayed.
  std::vector<ChatMessage> earlierMessages;
  std::vector<ChatTurnInput::ReferenceBlock> references;
  std::string request;
};

}  // namespace zephyl::assistant
