#include "agents/antigravity_acp_turn.h"

#include <gtest/gtest.h>

#include "agents/antigravity_acp_error.h"

namespace zephyl::agents {
namespace {

using core::JSONValue;
using ServiceCode = AntigravityACPServiceError::Code;

std::optional<ServiceCode> promptFailure(std::string_view text, const std::vector<size_t>& sizes) {
  std::vector<ai::AIAttachment> attachments;
  for (const size_t size : sizes)
    attachments.push_back({"data.bin", "application/octet-stream", std::string(size, 'x')});
  try {
    antigravityACPPromptBlocks(text, ai::AIWebToolMode::kOff, attachments);
    return std::nullopt;
  } catch (const AntigravityACPServiceError& error) {
    return error.code();
  }
}

TEST(AntigravityACPTurn, PromptLimitsAreInclusiveAndTheTotalCounts) {
  constexpr size_t kMiB = 1'048'576;
  const std::vector<std::tuple<std::string_view, std::vector<size_t>, std::optional<ServiceCode>>> cases{
      {" \n\t", {}, ServiceCode::kEmptyPrompt},
      {"hi", {20 * kMiB}, std::nullopt},
      {"hi", {20 * kMiB + 1}, ServiceCode::kAttachmentTooLarge},
      {"hi", {20 * kMiB, 20 * kMiB}, std::nullopt},
      {"hi", {20 * kMiB, 20 * kMiB, 1}, ServiceCode::kTotalAttachmentsTooLarge},
  };
  for (const auto& [text, sizes, failure] : cases)
    EXPECT_EQ(promptFailure(text, sizes), failure) << sizes.size();
}

TEST(AntigravityACPTurn, PromptBlocksCarryTheInstructionImagesAndResources) {
  const JSONValue blocks = antigravityACPPromptBlocks(
      "What changed?", ai::AIWebToolMode::kAutomatic,
      {{"shot.PNG", "", "\x89PNG"}, {"notes.md", "", "# caf\xC3\xA9"}, {"blob", "", std::string("a\0b", 3)}});
  EXPECT_EQ(blocks.serialized(), JSONValue::parse(R"([
      {"type":"text","text":"What changed?\n\nUse the native search_web tool when current web information would help. Cite source URLs; report search failures honestly."},
      {"type":"image","mimeType":"image/png","data":"iVBORw=="},
      {"type":"resource","resource":{"uri":"zephyl-attachment:///notes.md","mimeType":"text/plain","text":"# café"}},
      {"type":"resource","resource":{"uri":"zephyl-attachment:///blob","mimeType":"application/octet-stream","blob":"YQBi"}}
    ])")
                                     .serialized());
}

TEST(AntigravityACPTurn, ModelIdsBecomeTheAgentsOwnForTheEffortAndInstructionsLeadThePrompt) {
  using ai::ReasoningEffort;
  const std::vector<std::tuple<std::string, std::optional<ReasoningEffort>, std::string>> cases{
      {"Gemini 3.8 Flash", std::nullopt, "gemini-3.8-flash-medium"},
      {"Gemini 3.8 Flash", ReasoningEffort::kHigh, "gemini-3.8-flash-high"},
      {"Gemini 3.1 Pro", ReasoningEffort::kMedium, "gemini-pro-agent"},  // no medium: the default
      {"gemini-3.1-pro-preview", ReasoningEffort::kLow, "gemini-3.1-pro-low"},
      {"acp:example", ReasoningEffort::kHigh, ""},
      {"deep", std::nullopt, "deep"},
  };
  for (const auto& [model, effort, expected] : cases)
    EXPECT_EQ(antigravityACPModelID(model, effort), expected) << model;

  ai::AIStreamRequest request{.input = "hi", .instructions = "Be brief."};
  EXPECT_EQ(antigravityACPPromptText(request), "Be brief.\n\nhi");
  request.input = " \n";
  EXPECT_EQ(antigravityACPPromptText(request), " \n") << "a blank question stays refusable";
}

TEST(AntigravityACPTurn, PermissionAnswersFollowTheTurnsWebMode) {
  const JSONValue all = JSONValue::parse(R"({"toolCall":{"toolCallId":"t1"},"options":[
      {"optionId":"never","kind":"reject_always"},{"optionId":"no","kind":"reject_once"},
      {"optionId":"yes","kind":"allow_once"}]})");
  const JSONValue onlyAlways =
      JSONValue::parse(R"({"toolCall":{},"options":[{"optionId":"never","kind":"reject_always"},
      {"optionId":"ok","kind":"allow_always"}]})");
  const JSONValue noToolCall = JSONValue::parse(R"({"options":[{"optionId":"yes","kind":"allow_once"},
      {"optionId":"no","kind":"reject_once"}]})");
  const auto chosen = [](const JSONValue& answer) { return answer.find("outcome")->serialized(); };
  EXPECT_EQ(chosen(antigravityACPPermissionAnswer(all, true)), R"({"outcome":"selected","optionId":"yes"})");
  EXPECT_EQ(chosen(antigravityACPPermissionAnswer(all, false)), R"({"outcome":"selected","optionId":"no"})");
  EXPECT_EQ(chosen(antigravityACPPermissionAnswer(onlyAlways, true)),
            R"({"outcome":"selected","optionId":"never"})");
  EXPECT_EQ(chosen(antigravityACPPermissionAnswer(noToolCall, true)),
            R"({"outcome":"selected","optionId":"no"})");
  EXPECT_EQ(chosen(antigravityACPPermissionAnswer(JSONValue::parse(R"({"options":[]})"), true)),
            R"({"outcome":"cancelled"})");
}

TEST(AntigravityACPTurn, SessionModelsFromConfigOptionsOrTheOlderModels) {
  const auto config = antigravityACPSessionModels(JSONValue::parse(R"({"sessionId":"s","configOptions":[
      {"id":"mode","category":"mode","currentValue":"ask","options":[{"value":"ask"}]},
      {"id":"model","category":"model","type":"select","currentValue":"fast","options":[{"value":"fast"},{"value":"deep"}]}]})"));
  EXPECT_EQ(config.selector, AntigravityACPSessionModels::Selector::kConfigOption);
  EXPECT_EQ(config.current, "fast");
  EXPECT_EQ(config.available, (std::vector<std::string>{"fast", "deep"}));

  const auto older = antigravityACPSessionModels(JSONValue::parse(
      R"({"sessionId":"s","models":{"currentModelId":"m1","availableModels":[{"modelId":"m1"},{"modelId":"m2"}]}})"));
  EXPECT_EQ(older.selector, AntigravityACPSessionModels::Selector::kSetModel);
  EXPECT_EQ(older.available, (std::vector<std::string>{"m1", "m2"}));
  EXPECT_EQ(antigravityACPSessionModels(JSONValue::parse(R"({"sessionId":"s"})")).selector,
            AntigravityACPSessionModels::Selector::kNone);
}

TEST(AntigravityACPTurn, UpdatesBecomeEventsAndToolUpdatesKeepWhatTheyDoNotRepeat) {
  AntigravityACPTurnUpdates updates;
  const auto apply = [&](std::string_view json) { return updates.apply(JSONValue::parse(json)); };
  EXPECT_EQ(apply(R"({"sessionUpdate":"agent_thought_chunk","content":{"type":"text","text":"hmm"}})"),
            ai::AIStreamEvent(ai::AIStreamEvent::ReasoningSummaryDelta{"hmm"}));
  EXPECT_EQ(apply(R"({"sessionUpdate":"agent_message_chunk","content":{"type":"text","text":"Hel"}})"),
            ai::AIStreamEvent(ai::AIStreamEvent::AssistantMessageDelta{"Hel"}));
  apply(R"({"sessionUpdate":"tool_call","toolCallId":"t1","title":"Running search_web","kind":"search",
            "status":"pending","rawInput":{"query":"zephyl"}})");
  const auto done = apply(R"({"sessionUpdate":"tool_call_update","toolCallId":"t1","status":"completed"})");
  ASSERT_TRUE(done && done->as<ai::AIStreamEvent::ToolCallUpdated>());
  const ai::AIToolCallUpdate& call = done->as<ai::AIStreamEvent::ToolCallUpdated>()->update;
  EXPECT_EQ(call.status, ai::AIToolCallStatus::kCompleted);
  EXPECT_EQ(call.query, "zephyl");
  EXPECT_EQ(call.kind, ai::AIToolKind::kWebSearch);
  EXPECT_FALSE(apply(R"({"sessionUpdate":"plan","entries":[]})"));
  apply(R"({"sessionUpdate":"agent_message_chunk","content":{"type":"text","text":"lo"}})");
  EXPECT_EQ(updates.answer(), "Hello");
}

}  // namespace
}  // namespace zephyl::agents
