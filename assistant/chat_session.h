// ChatSession: one stored assistant conversation.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ai/ai_provider.h"
#include "ai/reasoning_effort.h"
#include "assistant/ai_note_context.h"
#include "assistant/chat_message.h"
#include "core/apple_time.h"

namespace zephyl::assistant {

struct ChatSession {
  std::string id;     // UUID
  std::string title;  // shown in the history; empty until named
  std::vector<ChatMessage> messages;
  std::optional<AINoteContext> noteContext;
  std::optional<AINoteContextSnapshot> noteContextSnapshot;
  std::optional<ai::AIProvider> provider;
  std::optional<std::string> model;
  std::optional<ai::ReasoningEffort> reasoningEffort;
  std::optional<std::string> generatedTitle;
  core::TimePoint createdAt;
  std::optional<std::string> codexThreadID;  // a provider-side thread to continue
  std::vector<ChatStoredImage> noteImages;

  bool operator==(const ChatSession&) const = default;
};

// The title the history shows: the user's, else the generated one, else "New Chat".
std::string displayTitle(const ChatSession& session);

// The newest of the session's creation and its messages' times.
core::TimePoint lastActivity(const ChatSession& session);

}  // namespace zephyl::assistant
