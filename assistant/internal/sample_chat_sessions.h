// Chat sessions with every member filled, for the tests and the benchmark.
#pragma once

#include <chrono>
#include <string>

#include "assistant/chat_session.h"

namespace zephyl::assistant::internal {

inline ChatSession chatSession(std::string id, core::TimePoint createdAt) {
  ChatSession session;
  session.id = std::move(id);
  session.createdAt = createdAt;
  return session;
}

inline ChatMessage chatMessage(std::string id, ChatMessageRole role, std::string text,
                               core::TimePoint createdAt = {}) {
  ChatMessage message;
  message.id = std::move(id);
  message.role = role;
  message.text = std::move(text);
  message.createdAt = createdAt;
  return message;
}

// A session whose id and texts derive from `number`, with `messageCount`
// messages alternating user (with a stored turn input) and assistant (with
// tool calls, sources and provider items).
inline ChatSession sampleChatSession(int number, int messageCount, core::TimePoint createdAt) {
  using namespace std::chrono_literals;
  const std::string tag = std::to_string(number);
  ChatSession session;
  session.id = "5E55-" + tag;
  session.title = "Trip plan " + tag;
  session.createdAt = createdAt;
  session.provider = ai::AIProvider::kOpenAIAPI;
  session.model = "gpt-6-sol";
  session.reasoningEffort = ai::ReasoningEffort::kHigh;
  session.generatedTitle = "Planning a trip to Lisbon";
  session.codexThreadID = "thread_" + tag;
  AINoteContext context{"Notes",
                        true,
                        "sel",
                        "line",
                        "Note text\nwith \"quotes\" and é",
                        "x-coredata://S/ICNote/p7",
                        "Lisbon",
                        "com.apple.Notes",
                        createdAt + 500ms};
  session.noteContext = context;
  session.noteContextSnapshot =
      AINoteContextSnapshot{context, {{ChatImageSubtype::kJPEG, "image-a.jpeg", 2048}}};
  session.noteImages = {{ChatImageSubtype::kHEIC, "image-b.heic", 4096}};
  for (int i = 0; i < messageCount; ++i) {
    ChatMessage message;
    message.id = "M-" + tag + "-" + std::to_string(i);
    message.createdAt = createdAt + std::chrono::seconds(i);
    if (i % 2 == 0) {
      message.role = ChatMessageRole::kUser;
      message.text = "Which museums open on Mondays? (" + std::to_string(i) + ")";
      message.turnInput = ChatTurnInput{
          message.text,
          {{"Travel", "Answer with a list."}},
          {{ChatTurnInput::ReferenceKind::kNote, "Lisbon", "Travel/2027", "Day 1: Belém"},
           {ChatTurnInput::ReferenceKind::kWebFetch, std::nullopt, "https://example.org/a", "Fetched page"}},
          std::nullopt,
          "Be brief."};
      message.contextCard =
          ChatContextCard{ChatContextCard::Kind::kAppleNotes, "Lisbon", "Travel", "com.apple.Notes"};
      message.attachments = {
          {ChatAttachment::Kind::kFile, "plan.pdf", "application/pdf", "file:///tmp/plan.pdf", 12345, true}};
      message.noteImageAttachmentCount = 1;
      message.imageAttachments = {{ChatImageSubtype::kPNG, "image-c.png", 99}};
    } else {
      message.role = ChatMessageRole::kAssistant;
      message.text = "The Gulbenkian closes on Tuesdays; most others close on Mondays.";
      message.reasoningSummary = "Checked opening hours.";
      message.webSearchSources = {{"https://example.org/hours", "Opening hours"},
                                  {"https://example.org/b", {}}};
      message.toolCalls = {{ai::AIToolKind::kWebSearch,
                            ai::AIToolCallStatus::kCompleted,
                            "museum hours lisbon",
                            std::nullopt,
                            {"https://example.org/q"},
                            {"https://example.org/hours"},
                            {},
                            std::nullopt},
                           {ai::AIToolKind::kNoteSearch,
                            ai::AIToolCallStatus::kFailed,
                            std::nullopt,
                            "timed out",
                            {},
                            {},
                            {{"x-coredata://S/ICNote/p9", "Museums"}},
                            3}};
      message.providerResponseItems = {
          {ai::AIProvider::kOpenAIAPI,
           core::JSONValue::Object{{"type", "reasoning"},
                                   {"encrypted_content", "gAAA" + tag},
                                   {"big", static_cast<uint64_t>(18446744073709551615ull)},
                                   {"ratio", 0.1},
                                   {"nested", core::JSONValue::Array{1, nullptr, true, "x"}}},
           "resp_" + tag}};
      message.isTransient = i == 1;
    }
    session.messages.push_back(std::move(message));
  }
  return session;
}

}  // namespace zephyl::assistant::internal
