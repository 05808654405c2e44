#include "assistant/assistant_turn.h"

#include <gtest/gtest.h>

#include "ai/ai_request_budget.h"
#include "assistant/assistant_prompt_composer.h"
#include "assistant/internal/sample_chat_sessions.h"

namespace zephyl::assistant {
namespace {

using Kind = ChatTurnInput::ReferenceKind;
using namespace std::chrono_literals;

AssistantTurnParts partsWithNotes(size_t noteBytes) {
  AssistantTurnParts parts;
  parts.request = "Compare these";
  parts.currentNote = AINoteContext{.appName = "Notes",
                                    .isAppleNotesActive = true,
                                    .noteText = std::string(noteBytes, 'c'),
                                    .noteID = "x-coredata://S/ICNote/p1",
                                    .noteTitle = "Current"};
  parts.noteImages = {{"image-1.png", "image/png", "png"}};
  parts.references = {{Kind::kNote, "Mentioned", "Work", std::string(noteBytes, 'm')},
                      {Kind::kWebFetch, "Page", std::nullopt, std::string(noteBytes, 'w')}};
  parts.uploads = {{"a.pdf", "application/pdf", "%PDF"}};
  return parts;
}

TEST(AssistantTurn, CurrentNoteIsTheFirstReferenceAndAttachmentsFollowTheRequest) {
  const AssistantTurn turn = composeAssistantTurn(partsWithNotes(10), 2026y / 11 / 14, "en_US", {});
  EXPECT_EQ(turn.truncatedNotes, 0);
  ASSERT_EQ(turn.turnInput.references.size(), 3u);
  EXPECT_EQ(turn.turnInput.references[0].title, "Current");
  EXPECT_TRUE(turn.turnInput.references[0].content.starts_with("## Environment\nApp: Notes\n"));
  EXPECT_EQ(turn.turnInput.defaultPreferences, std::string(kDefaultPreferences));
  EXPECT_NE(turn.userText.find(
                "## Untrusted References\n[UNTRUSTED REFERENCE DATA — Note: Current]\n## Environment"),
            std::string::npos);
  // The paragraph follows the request; its wording is tested with the composer.
  const std::string paragraph = *composeAttachmentParagraph(1, 1);
  EXPECT_TRUE(turn.userText.ends_with("## Current Request\nCompare these\n" +
                                      paragraph.substr(0, paragraph.size() - 1)));
  ASSERT_EQ(turn.attachments.size(), 2u);
  EXPECT_EQ(turn.attachments[0].name, "image-1.png");
  EXPECT_EQ(turn.turnInput.request, "Compare these");  // stored without the paragraph
}

TEST(AssistantTurn, NotesAreCutToTheLargestLengthThatFitsTheBudget) {
  const ai::AIRequestLimits limits{20'000, 1'000};
  const AssistantTurn turn = composeAssistantTurn(partsWithNotes(40'000), 2026y / 11 / 14, "en_US", limits);
  EXPECT_EQ(turn.truncatedNotes, 2);
  EXPECT_EQ(countTruncatedNotes(turn.turnInput), 2);
  EXPECT_FALSE(ai::AIRequestBudget::check({turn.userText}, limits));
  // Other references stay whole.
  EXPECT_EQ(turn.turnInput.references[2].content.size(), 40'000u);
  const std::string& mentioned = turn.turnInput.references[1].content;
  EXPECT_TRUE(mentioned.ends_with("m\n\n[Note truncated to fit context budget]"));
  EXPECT_TRUE(
      turn.turnInput.references[0].content.ends_with("c\n\n[Note truncated to fit context budget]\n```"));

  // About 63,000 characters fit; the web page keeps 40,000, so each note keeps most of the rest.
  EXPECT_GT(mentioned.size(), 9'000u);
}

ChatMessage message(ChatMessageRole role, std::string text) { return internal::chatMessage("", role, text); }

TEST(AssistantTurn, HistoryIsReplayedWithProviderItemsAndGeneratedImages) {
  ChatMessage asked = message(ChatMessageRole::kUser, "shown text");
  asked.turnInput = ChatTurnInput{"What ships?", {}, {{Kind::kNote, "Plan", std::nullopt, "Beta"}}, "", {}};
  ChatMessage answered = message(ChatMessageRole::kAssistant, " The beta. ");
  answered.providerResponseItems = {
      {ai::AIProvider::kOpenAIAPI, core::JSONValue::Object{{"type", "reasoning"}, {"id", "rs_1"}}, "resp_1"}};
  answered.imageAttachments = {{ChatImageSubtype::kPNG, "image-1.png", 3},
                               {ChatImageSubtype::kPNG, "gone", 1}};
  ChatMessage transient = message(ChatMessageRole::kUser, "typing");
  transient.isTransient = true;
  AssistantTurnParts parts;
  parts.request = "And then?";
  parts.history = {message(ChatMessageRole::kContext, "card"), asked, answered,
                   message(ChatMessageRole::kAssistant, "  "), transient};
  parts.readStoredImage = [](const ChatStoredImage& image) -> std::optional<ai::AIAttachment> {
    if (image.relativePath == "gone") return std::nullopt;
    return ai::AIAttachment{image.relativePath, "image/png", "png"};
  };
  const AssistantTurn turn = composeAssistantTurn(parts, 2026y / 11 / 14, "en_US", {});

  ASSERT_EQ(turn.history.size(), 2u);
  EXPECT_EQ(turn.history[0].role, ai::AIHistoryMessage::Role::kUser);
  EXPECT_EQ(turn.history[0].textParts,
            std::vector<std::string>{
                "[UNTRUSTED REFERENCE DATA — Note: Plan]\nBeta\n\nCurrent Request:\nWhat ships?"});
  EXPECT_EQ(turn.history[1].textParts, std::vector<std::string>{"The beta."});
  EXPECT_EQ(turn.history[1].providerItems, answered.providerResponseItems);
  ASSERT_EQ(turn.history[1].generatedImages.size(), 1u);
  EXPECT_EQ(turn.history[1].generatedImages[0].name, "image-1.png");
  // The request carries the history; the user text does not repeat it.
  EXPECT_EQ(turn.userText.find("## Conversation History"), std::string::npos);
  EXPECT_EQ(turn.droppedHistoryMessages, 0u);

  // A target without a conversation of its own reads it from the user text.
  parts.historyInUserText = true;
  const AssistantTurn agentTurn = composeAssistantTurn(parts, 2026y / 11 / 14, "en_US", {});
  EXPECT_TRUE(agentTurn.history.empty());
  EXPECT_NE(agentTurn.userText.find(
                "## Conversation History\nUSER:\n[UNTRUSTED REFERENCE DATA — Note: Plan]\nBeta\n\nCurrent "
                "Request:\nWhat ships?\n\nASSISTANT:\nThe beta.\n\n## Current Request\nAnd then?"),
            std::string::npos);
}

TEST(AssistantTurn, WhenEmptyNotesDoNotFitTheOldestExchangesGoAndTheNotesSaySo) {
  AssistantTurnParts parts = partsWithNotes(4'000);
  for (int exchange = 0; exchange < 6; ++exchange) {
    parts.history.push_back(message(ChatMessageRole::kUser, "question " + std::to_string(exchange)));
    parts.history.push_back(message(ChatMessageRole::kAssistant, std::string(12'000, 'a' + exchange)));
  }
  const ai::AIRequestLimits limits{20'000, 1'000};
  const AssistantTurn turn = composeAssistantTurn(parts, 2026y / 11 / 14, "en_US", limits);

  // Whole exchanges from the oldest, and no more than needed.
  EXPECT_GT(turn.droppedHistoryMessages, 0u);
  EXPECT_EQ(turn.droppedHistoryMessages % 2, 0u);
  ASSERT_FALSE(turn.history.empty());
  EXPECT_EQ(turn.history.front().role, ai::AIHistoryMessage::Role::kUser);
  EXPECT_EQ(turn.history.back().textParts[0], std::string(12'000, 'f'));
  ai::AIStreamRequest sent;
  sent.input = turn.userText;
  sent.history = turn.history;
  EXPECT_FALSE(ai::AIRequestBudget::check(ai::AIRequestBudget::textPieces(sent, turn.systemText), limits));
  // One more exchange would not have fitted.
  const auto cut = parts.history.begin() + static_cast<std::ptrdiff_t>(turn.droppedHistoryMessages);
  const std::vector<ai::AIHistoryMessage> previous = replayedHistory({cut - 2, cut});
  sent.history.insert(sent.history.begin(), previous.begin(), previous.end());
  EXPECT_TRUE(ai::AIRequestBudget::check(ai::AIRequestBudget::textPieces(sent, turn.systemText), limits));

  // History in the user text gives way the same way.
  parts.historyInUserText = true;
  const AssistantTurn agentTurn = composeAssistantTurn(parts, 2026y / 11 / 14, "en_US", limits);
  EXPECT_GT(agentTurn.droppedHistoryMessages, 0u);
  EXPECT_EQ(agentTurn.userText.find(std::string(12'000, 'a')), std::string::npos);
  EXPECT_NE(agentTurn.userText.find(std::string(12'000, 'f')), std::string::npos);
  sent = {};
  sent.input = agentTurn.userText;
  EXPECT_FALSE(ai::AIRequestBudget::check(ai::AIRequestBudget::textPieces(sent, turn.systemText), limits));
  parts.historyInUserText = false;

  EXPECT_EQ(turn.truncatedNotes, 2);
  EXPECT_EQ(countTruncatedNotes(turn.turnInput), 2);
  EXPECT_EQ(turn.turnInput.references[1].content, "[Context truncated by Zephyl.]");
  EXPECT_NE(turn.turnInput.references[0].content.find("```\n[Context truncated by Zephyl.]\n```"),
            std::string::npos);

  // Without a note to carry it, the marker comes as a note of its own.
  parts.currentNote.reset();
  parts.references.erase(parts.references.begin());
  const AssistantTurn bare = composeAssistantTurn(parts, 2026y / 11 / 14, "en_US", limits);
  EXPECT_EQ(countTruncatedNotes(bare.turnInput), 1);
  EXPECT_EQ(bare.turnInput.references.back().content, "[Context truncated by Zephyl.]");
}

}  // namespace
}  // namespace zephyl::assistant
