#include "assistant/chat_session_json.h"

#include <gtest/gtest.h>

#include <set>

#include "assistant/internal/sample_chat_sessions.h"

namespace zephyl::assistant {
namespace {

using core::JSONValue;

std::set<std::string> keysOf(const JSONValue& value) {
  std::set<std::string> keys;
  for (const auto& [key, member] : *value.object()) keys.insert(key);
  return keys;
}

TEST(ChatSessionJson, EveryFieldRoundTripsAndRewritesIdentically) {
  std::vector<ChatSession> sessions = {
      internal::sampleChatSession(1, 4, core::parseIso8601("2026-11-14T09:30:00.25Z").value()),
      internal::chatSession("BARE", core::parseIso8601("2026-11-15T00:00:00Z").value())};
  ChatMessage legacy = internal::chatMessage("L", ChatMessageRole::kLegacy, "old");
  legacy.legacyRole = "system";
  sessions[1].messages.push_back(legacy);

  const std::string text = encodeChatSessions(sessions);
  const std::vector<ChatSession> decoded = decodeChatSessions(text);
  EXPECT_EQ(decoded, sessions);
  EXPECT_EQ(encodeChatSessions(decoded), text);
}

TEST(ChatSessionJson, WritesTheStoredMemberNames) {
  const JSONValue session = encodeChatSession(internal::sampleChatSession(1, 2, core::TimePoint{}));
  EXPECT_EQ(keysOf(session),
            (std::set<std::string>{"id", "title", "messages", "noteContext", "noteContextSnapshot",
                                   "provider", "model", "reasoningEffort", "generatedTitle", "createdAt",
                                   "codexThreadID", "noteImages"}));
  const JSONValue& user = (*session.find("messages")->array())[0];
  EXPECT_EQ(keysOf(user), (std::set<std::string>{"id", "role", "text", "webSearchSources", "toolCalls",
                                                 "providerResponseItems", "turnInput", "contextCard",
                                                 "attachments", "noteImageAttachmentCount",
                                                 "imageAttachments", "isTransient", "createdAt"}));
  const JSONValue& assistant = (*session.find("messages")->array())[1];
  EXPECT_EQ(keysOf((*assistant.find("toolCalls")->array())[1]),
            (std::set<std::string>{"kind", "status", "failureReason", "urls", "sourceURLs", "noteSources",
                                   "noteCount"}));
  EXPECT_EQ(*session.find("createdAt")->string(), "1970-01-01T00:00:00Z");
  EXPECT_EQ(*session.find("reasoningEffort")->string(), "high");
  EXPECT_EQ(*(*session.find("noteImages")->array())[0].find("mimeSubtype")->string(), "heic");
}

TEST(ChatSessionJson, UnknownRoleIsKeptAndOtherDamageIsRejected) {
  const auto legacy = decodeChatSessions(
      R"([{"id":"S","createdAt":"2026-01-01T00:00:00Z",)"
      R"("messages":[{"id":"M","role":"tool","text":"t","createdAt":"2026-01-01T00:00:00Z"}]}])");
  ASSERT_EQ(legacy.size(), 1u);
  EXPECT_EQ(legacy[0].messages[0].role, ChatMessageRole::kLegacy);
  EXPECT_NE(encodeChatSessions(legacy).find(R"("role":"tool")"), std::string::npos);

  const char* damaged[] = {
      R"({"id":"S"})",                                                 // not a list
      R"([{"createdAt":"2026-01-01T00:00:00Z"}])",                     // no id
      R"([{"id":"S","createdAt":"yesterday"}])",                       // not a date
      R"([{"id":"S","createdAt":"2026-01-01T00:00:00Z","title":7}])",  // wrong type
      R"([{"id":"S","createdAt":"2026-01-01T00:00:00Z","messages":{}}])",
      R"([{"id":"S","createdAt":"2026-01-01T00:00:00Z","provider":"nobody"}])",
      R"([{"id":"S","createdAt":"2026-01-01T00:00:00Z","noteImages":[{"mimeSubtype":"bmp","relativePath":"x"}]}])",
      R"([{"id":"S","createdAt":"2026-01-01T00:00:00Z")",  // cut short
      R"([{"id":"S","createdAt":"2026-01-01T00:00:00Z","messages":[{"id":"M","role":"user"}]}])",
  };
  for (const char* text : damaged) {
    EXPECT_ANY_THROW(decodeChatSessions(text)) << text;
  }
}

}  // namespace
}  // namespace zephyl::assistant
