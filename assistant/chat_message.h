// ChatMessage: one message of a stored conversation, with everything a later
// turn needs to send what a continuous conversation would: the provider's raw
// output items, the user turn's stored input, tool calls and cited sources.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ai/ai_provider_response_item.h"
#include "ai/ai_tool_call_update.h"
#include "assistant/chat_stored_image.h"
#include "assistant/chat_turn_input.h"
#include "core/apple_time.h"

namespace zephyl::assistant {

// kLegacy: a role this version does not know, read from an older or newer
// file; the message keeps its stored text in `legacyRole` and is never replayed.
enum class ChatMessageRole { kContext, kUser, kAssistant, kLegacy };

struct ChatWebSource {
  std::string url;
  std::optional<std::string> title;

  bool operator==(const ChatWebSource&) const = default;
};

// A tool call as the message keeps it once the answer is done.
struct ChatToolCall {
  ai::AIToolKind kind = ai::AIToolKind::kWebSearch;
  ai::AIToolCallStatus status = ai::AIToolCallStatus::kRunning;
  std::optional<std::string> query;
  std::optional<std::string> failureReason;
  std::vector<std::string> urls;        // asked for
  std::vector<std::string> sourceURLs;  // actually used
  std::vector<ai::AINoteSource> noteSources;
  std::optional<int64_t> noteCount;

  bool operator==(const ChatToolCall&) const = default;
};

struct ChatContextCard {
  enum class Kind { kAppleNotes, kExternalApp };
  Kind kind = Kind::kAppleNotes;
  std::string title;
  std::string subtitle;
  std::optional<std::string> bundleIdentifier;

  bool operator==(const ChatContextCard&) const = default;
};

struct ChatAttachment {
  enum class Kind { kImage, kFile };
  Kind kind = Kind::kFile;
  std::string filename;
  std::string contentType;  // a MIME type
  std::string url;          // where the file lies
  int64_t byteCount = 0;
  bool isTemporary = false;

  bool operator==(const ChatAttachment&) const = default;
};

struct ChatMessage {
  std::string id;  // UUID
  ChatMessageRole role = ChatMessageRole::kUser;
  std::string legacyRole;  // the stored role when `role` is kLegacy
  std::string text;
  std::optional<std::string> reasoningSummary;
  std::vector<ChatWebSource> webSearchSources;
  std::vector<ChatToolCall> toolCalls;
  std::vector<ai::AIProviderResponseItem> providerResponseItems;
  std::optional<ChatTurnInput> turnInput;
  std::optional<ChatContextCard> contextCard;
  std::vector<ChatAttachment> attachments;
  int64_t noteImageAttachmentCount = 0;
  std::vector<ChatStoredImage> imageAttachments;
  bool isTransient = false;
  core::TimePoint createdAt;

  bool operator==(const ChatMessage&) const = default;
};

}  // namespace zephyl::assistant
