#include "ai/ai_service_factory.h"

#include <gtest/gtest.h>

#include "ai/ai_request_budget.h"
#include "core/in_memory_settings_store.h"
#include "platform/testing/collecting_usage_recorder.h"
#include "platform/testing/fake_clock.h"
#include "platform/testing/fake_monotonic_clock.h"
#include "platform/testing/fake_random_source.h"
#include "platform/testing/in_memory_credential_store.h"
#include "platform/testing/scripted_http_transport.h"

namespace zephyl::ai {
namespace {

using platform::testing::ScriptedHTTPExchange;

const std::string kAnswer =
    "event: response.output_text.delta\ndata: {\"type\":\"response.output_text.delta\",\"delta\":\"ok\"}\n\n"
    "event: response.completed\ndata: {\"type\":\"response.completed\",\"response\":{\"id\":\"r1\","
    "\"usage\":{\"input_tokens\":3,\"output_tokens\":1,\"total_tokens\":4}}}\n\n";

class AIServiceFactoryTest : public ::testing::Test {
 protected:
  AIServiceFactory factory(std::optional<std::string> baseURL = std::nullopt) {
    return AIServiceFactory({transport_, clock_, random_, wallClock_, credentials_, recorder_, &settings_},
                            AIModelCatalog(), std::move(baseURL));
  }

  void stream(const AIServiceFactory& factory, const AIStreamRequest& request) {
    factory.makeProvider(request.model)->produce(request, {}, [](AIStreamEvent) {});
  }

  platform::testing::ScriptedHTTPTransport transport_{{ScriptedHTTPExchange::response(200, {kAnswer}),
                                                       ScriptedHTTPExchange::response(200, {kAnswer}),
                                                       ScriptedHTTPExchange::response(200, {kAnswer})}};
  platform::testing::FakeMonotonicClock clock_;
  platform::testing::FakeRandomSource random_;
  platform::testing::FakeClock wallClock_;
  platform::testing::InMemoryCredentialStore credentials_;
  platform::testing::CollectingUsageRecorder recorder_;
  core::InMemorySettingsStore settings_;
};

TEST_F(AIServiceFactoryTest, BaseURLIsTheOverrideElseTheSettingElseTheServiceHost) {
  credentials_.setSecret("openAIAPIKey", "sk");
  credentials_.setSecret("xaiAPIKey", "xk");
  settings_.setJSONValue("aiProviderBaseURLs",
                         core::JSONValue::Object{{"xaiAccount", "https://gw.example/x/"}});
  AIStreamRequest request{.input = "hi", .model = "openai:gpt-6-sol"};
  stream(factory(), request);
  stream(factory("http://127.0.0.1:9/v1"), request);
  request.model = "grok-4.7";
  stream(factory(), request);
  const auto sent = transport_.requests();
  ASSERT_EQ(sent.size(), 3u);
  EXPECT_EQ(sent[0].url, "https://api.openai.com/v1/responses");
  EXPECT_EQ(sent[1].url, "http://127.0.0.1:9/v1/responses");
  EXPECT_EQ(sent[2].url, "https://gw.example/x/responses");
}

TEST_F(AIServiceFactoryTest, TheStackRecordsUsageAndRunsTheBudgetFirst) {
  credentials_.setSecret("openAIAPIKey", "sk");
  AIStreamRequest request{.input = "hi", .model = "openai:gpt-6-sol"};
  stream(factory(), request);
  const auto records = recorder_.records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].provider, AIProvider::kOpenAIAPI);
  EXPECT_EQ(records[0].reports,
            (std::vector<AIUsageReport>{{AIReportedUsage{3, std::nullopt, 1, std::nullopt, 4}, "r1"}}));

  // The instructions count against the budget too.
  request.instructions = std::string(AIRequestBudget::kMaximumRequestBytes, 'x');
  EXPECT_THROW(stream(factory(), request), AIRequestBudgetError);
  EXPECT_EQ(transport_.requests().size(), 1u);
}

// Stands in for the external agent that the command line wires in.
class AnsweringAgent : public AIStreamProvider {
 public:
  void produce(const AIStreamRequest& request, std::stop_token, const Emit& emit) override {
    emit(AIStreamEvent::AssistantMessageDelta{"from " + request.model});
    emit(AIStreamEvent::Completed{});
  }
};

TEST_F(AIServiceFactoryTest, AgentModelsGoThroughTheWiredAgentWithUsageRecorded) {
  std::vector<std::string> built;
  AIServiceDependencies dependencies{transport_,   clock_,    random_,   wallClock_,
                                     credentials_, recorder_, &settings_};
  dependencies.agentAdapter = [&built](std::string_view modelID) -> std::unique_ptr<AIStreamProvider> {
    built.emplace_back(modelID);
    if (modelID == "acp:missing") return nullptr;
    return std::make_unique<AnsweringAgent>();
  };
  const AIServiceFactory withAgent(dependencies, AIModelCatalog());
  for (const std::string model : {"Gemini 3.8 Flash", "acp:example"}) {
    SCOPED_TRACE(model);
    const AIStreamRequest request{.input = "hi", .model = model};
    std::vector<AIStreamEvent> events;
    withAgent.makeProvider(model)->produce(request, {},
                                           [&](AIStreamEvent event) { events.push_back(std::move(event)); });
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.front(), AIStreamEvent(AIStreamEvent::AssistantMessageDelta{"from " + model}));
    ASSERT_FALSE(recorder_.records().empty());
    EXPECT_EQ(recorder_.records().back().provider, AIProvider::kGemini);
    EXPECT_EQ(recorder_.records().back().model, model);
    EXPECT_FALSE(withAgent.requestBody(request).has_value()) << "an agent has no HTTP body";
  }
  EXPECT_EQ(built, (std::vector<std::string>{"Gemini 3.8 Flash", "acp:example"}));
  EXPECT_THROW(withAgent.makeProvider("acp:missing"), AIServiceFactoryError);
  EXPECT_THROW(factory().makeProvider("Gemini 3.8 Flash"), AIServiceFactoryError) << "no agent wired in";
  EXPECT_TRUE(transport_.requests().empty());
}

}  // namespace
}  // namespace zephyl::ai
