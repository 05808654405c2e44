// The tool loop of every adapter family, through the factory's full stack
// against scripted service replies: a call is run, its output goes back in the
// family's own form, the answer follows; a model that never stops calling is
// stopped at the bound; an output over the bound is cut and marked.
#include "ai/ai_function_tool_loop.h"

#include <gtest/gtest.h>

#include "ai/ai_service_factory.h"
#include "core/in_memory_settings_store.h"
#include "platform/testing/collecting_usage_recorder.h"
#include "platform/testing/fake_clock.h"
#include "platform/testing/fake_monotonic_clock.h"
#include "platform/testing/fake_notes_function_tool.h"
#include "platform/testing/fake_random_source.h"
#include "platform/testing/in_memory_credential_store.h"
#include "platform/testing/loopback_http_server.h"
#include "platform/testing/scripted_http_transport.h"

namespace zephyl::ai {
namespace {

using core::JSONValue;
using platform::testing::ScriptedHTTPExchange;

using platform::testing::FakeNotesTool;

struct Family {
  const char* name;
  std::string model;
  std::string keyName;
  std::string callReply;    // a reply whose only content is one call of query_notes {"text":"bakery"}
  std::string answerReply;  // a reply that answers "Two notes."
  std::string outputSent;   // how the second request carries the output "FOUND" back
};

constexpr auto responsesEvent = platform::testing::responsesStreamEvent;

const Family kFamilies[] = {
    {"Responses", "openai:gpt-6-sol", "openAIAPIKey",
     responsesEvent("response.output_item.done",
                    R"("item":{"type":"function_call","id":"fc_1","call_id":"call_1","name":"query_notes",)"
                    R"("arguments":"{\"text\":\"bakery\"}"})") +
         responsesEvent("response.completed", R"("response":{"id":"r1"})"),
     responsesEvent("response.output_text.delta", R"("delta":"Two notes.")") +
         responsesEvent("response.completed", R"("response":{"id":"r2"})"),
     R"({"type":"function_call_output","call_id":"call_1","output":"FOUND"})"},
    {"Chat Completions", "deepseek:deepseek-flash", "deepseekAIAPIKey",
     "data: "
     R"({"id":"c1","choices":[{"index":0,"delta":{"tool_calls":[{"index":0,"id":"call_1","type":"function",)"
     R"("function":{"name":"query_notes","arguments":"{\"text\":\"bakery\"}"}}]},"finish_reason":"tool_calls"}]})"
     "\n\ndata: [DONE]\n\n",
     "data: "
     R"({"id":"c2","choices":[{"index":0,"delta":{"content":"Two notes."},"finish_reason":"stop"}]})"
     "\n\ndata: [DONE]\n\n",
     R"({"role":"tool","tool_call_id":"call_1","content":"FOUND"})"},
    {"Google", "google:gemini-3.8-flash", "googleAIAPIKey",
     "data: "
     R"({"candidates":[{"content":{"role":"model","parts":[{"functionCall":{"name":"query_notes",)"
     R"("args":{"text":"bakery"}}}]},"finishReason":"STOP"}]})"
     "\r\n\r\n",
     "data: "
     R"({"candidates":[{"content":{"role":"model","parts":[{"text":"Two notes."}]},"finishReason":"STOP"}]})"
     "\r\n\r\n",
     R"({"role":"user","parts":[{"functionResponse":{"name":"query_notes","response":{"result":"FOUND"}}}]})"},
};

class AIFunctionToolLoopTest : public ::testing::Test {
 protected:
  // The events of `request` sent through the stack to scripted `replies`, and the failure text.
  std::pair<std::vector<AIStreamEvent>, std::string> stream(const Family& family, AIStreamRequest request,
                                                            std::vector<std::string> replies) {
    std::vector<ScriptedHTTPExchange> exchanges;
    for (auto& reply : replies) exchanges.push_back(ScriptedHTTPExchange::response(200, {std::move(reply)}));
    transport_ = std::make_unique<platform::testing::ScriptedHTTPTransport>(std::move(exchanges));
    credentials_.setSecret(family.keyName, "key");
    AIServiceFactory factory({*transport_, clock_, random_, wallClock_, credentials_, recorder_, &settings_},
                             AIModelCatalog(), "http://127.0.0.1:9/v1");
    request.model = family.model;
    std::vector<AIStreamEvent> events;
    try {
      factory.makeProvider(request.model)->produce(request, {}, [&](AIStreamEvent e) {
        events.push_back(e);
      });
    } catch (const core::Error& error) {
      return {events, error.description()};
    }
    return {events, ""};
  }

  AIStreamRequest request(std::shared_ptr<AIFunctionTool> tool) {
    return {
        .input = "Which notes mention the bakery?", .allowsLocalNotesQuery = true, .functionTools = {tool}};
  }

  std::unique_ptr<platform::testing::ScriptedHTTPTransport> transport_;
  platform::testing::FakeMonotonicClock clock_;
  platform::testing::FakeRandomSource random_{{0.5}};
  platform::testing::FakeClock wallClock_;
  platform::testing::InMemoryCredentialStore credentials_;
  platform::testing::CollectingUsageRecorder recorder_;
  core::InMemorySettingsStore settings_;
};

std::string answerText(const std::vector<AIStreamEvent>& events) {
  std::string text;
  for (const auto& event : events) {
    if (const auto* delta = event.as<AIStreamEvent::AssistantMessageDelta>()) text += delta->text;
  }
  return text;
}

TEST_F(AIFunctionToolLoopTest, EachFamilyRunsTheCallSendsItsOutputBackAndAnswers) {
  for (const Family& family : kFamilies) {
    auto tool = std::make_shared<FakeNotesTool>("FOUND");
    const auto [events, failure] = stream(family, request(tool), {family.callReply, family.answerReply});
    ASSERT_EQ(failure, "") << family.name;
    EXPECT_EQ(tool->seen, std::vector<std::string>{R"({"text":"bakery"})"}) << family.name;
    EXPECT_EQ(answerText(events), "Two notes.") << family.name;
    // running, then completed with the note it found; the stream still ends once.
    std::vector<AIToolCallUpdate> updates;
    int completions = 0;
    for (const auto& event : events) {
      if (const auto* toolCall = event.as<AIStreamEvent::ToolCallUpdated>())
        updates.push_back(toolCall->update);
      completions += event.as<AIStreamEvent::Completed>() != nullptr;
    }
    ASSERT_EQ(updates.size(), 2u) << family.name;
    EXPECT_EQ(updates[0].status, AIToolCallStatus::kRunning);
    EXPECT_EQ(updates[0].query, "bakery");
    EXPECT_EQ(updates[1].status, AIToolCallStatus::kCompleted);
    EXPECT_EQ(updates[1].noteSources.size(), 1u);
    EXPECT_EQ(updates[0].id, updates[1].id);
    EXPECT_EQ(completions, 1) << family.name;
    EXPECT_EQ(events.back(), AIStreamEvent(AIStreamEvent::Completed{})) << family.name;

    const auto sent = transport_->requests();
    ASSERT_EQ(sent.size(), 2u) << family.name;
    EXPECT_NE(sent[0].body.find("\"query_notes\""), std::string::npos) << family.name;
    EXPECT_NE(sent[1].body.find(family.outputSent), std::string::npos) << family.name << ": " << sent[1].body;
  }
}

TEST_F(AIFunctionToolLoopTest, AModelThatNeverStopsCallingIsStoppedAtTheBound) {
  for (const Family& family : kFamilies) {
    auto tool = std::make_shared<FakeNotesTool>("FOUND");
    std::vector<std::string> replies(AIFunctionToolLoop::kMaximumRounds + 3, family.callReply);
    const auto [events, failure] = stream(family, request(tool), replies);
    EXPECT_EQ(failure, AIFunctionToolError::text(AIFunctionToolError::Code::kTooManyRounds)) << family.name;
    EXPECT_EQ(tool->runs, AIFunctionToolLoop::kMaximumRounds) << family.name;
    EXPECT_EQ(transport_->requests().size(), size_t{AIFunctionToolLoop::kMaximumRounds} + 1) << family.name;
  }
}

TEST_F(AIFunctionToolLoopTest, OutputsOverTheBoundAreCutAndMarkedAndNotesToolsNeedPermission) {
  // The cut never splits a character: "é" is two bytes.
  const std::string cut = boundedToolOutput(std::string(9, 'a') + "é" + "tail", 10);
  EXPECT_EQ(cut, std::string(9, 'a') + "\n[Tool result cut by Zephyl: 9 of 15 bytes shown.]");
  EXPECT_EQ(boundedToolOutput("short", 10), "short");

  const Family& responses = kFamilies[0];
  auto huge =
      std::make_shared<FakeNotesTool>(std::string(AIFunctionToolLoop::kMaximumOutputBytes + 100, 'x'));
  ASSERT_EQ(stream(responses, request(huge), {responses.callReply, responses.answerReply}).second, "");
  const std::string second = transport_->requests()[1].body;
  EXPECT_NE(second.find("[Tool result cut by Zephyl: 32768 of 32868 bytes shown.]"), std::string::npos);
  EXPECT_EQ(second.find(std::string(AIFunctionToolLoop::kMaximumOutputBytes + 1, 'x')), std::string::npos);

  // Without permission, or with a search demanded on every turn, the notes tool is not offered.
  for (const auto& [allowed, web] : {std::pair{false, AIWebToolMode::kOff}, {true, AIWebToolMode::kAlways}}) {
    AIStreamRequest turn = request(std::make_shared<FakeNotesTool>("FOUND"));
    turn.allowsLocalNotesQuery = allowed;
    turn.webSearchMode = web;
    EXPECT_TRUE(functionToolDefinitions(turn, true).empty());
  }
}

}  // namespace
}  // namespace zephyl::ai
