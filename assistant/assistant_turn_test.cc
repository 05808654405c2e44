#include "assistant/assistant_turn.h"

#include <gtest/gtest.h>

#include "ai/ai_request_budget.h"
#include "assistant/assistant_prompt_composer.h"

namespace zephyl::assistant {
namespace {

using Kind = ChatTurnInput::ReferenceKind;
using namespace std::chrono_literals;

AssistantTurnParts partsWithNotes(size_t noteBytes) {
  AssistantTurnParts parts;
  parts.request = "Compare these";
  AINoteContext current;
  current.appName = "Notes";
  current.isAppleNotesActive = true;
  current.noteText = std::string(noteBytes, 'c');
  current.noteID = "x-coredata://S/ICNote/p1";
  current.noteTitle = "Current";
  parts.currentNote = current;
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
  EXPECT_TRUE(turn.userText.ends_with(
      "## Current Request\nCompare these\n\n## Attachments\n2 attachments are attached to this turn as "
      "separate "
      "inputs.\nThe first attachment is the image from the current note; the `[Image 1]` placeholder in the "
      "note "
      "text marks where it belongs.\n1 user-uploaded attachment is also attached to this turn."));
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

}  // namespace
}  // namespace zephyl::assistant
