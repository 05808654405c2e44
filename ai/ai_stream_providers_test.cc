#include <gtest/gtest.h>

#include <stdexcept>

#include "ai/ai_http_client.h"
#include "ai/budgeted_ai_stream_provider.h"
#include "ai/usage_recording_ai_stream_provider.h"
#include "platform/testing/collecting_usage_recorder.h"
#include "platform/testing/fake_monotonic_clock.h"
#include "platform/testing/scripted_ai_stream_provider.h"

namespace zephyl::ai {
namespace {

using namespace std::chrono_literals;

using ScriptedProvider = platform::testing::ScriptedAIStreamProvider;

std::vector<AIStreamEvent> collect(AIStreamProvider& provider, const AIStreamRequest& request) {
  std::vector<AIStreamEvent> events;
  provider.produce(request, {}, [&events](AIStreamEvent event) { events.push_back(std::move(event)); });
  return events;
}

AIStreamRequest requestFor(std::string input, std::string model = "grok-4.5") {
  return {.input = std::move(input), .model = std::move(model)};
}

TEST(BudgetedAIStreamProvider, RefusesBeforeTheWrappedProviderIsCalled) {
  ScriptedProvider wrapped;
  wrapped.events = {AIStreamEvent::Completed{}};
  const AIModelCatalog catalog;
  BudgetedAIStreamProvider budgeted(wrapped, BudgetedAIStreamProvider::catalogLimits(catalog, nullptr));

  // Which failure a request is, is the budget's to decide and tested there.
  EXPECT_THROW(collect(budgeted, requestFor(std::string(32 * 1024 * 1024 + 1, 'a'), "unknown-model")),
               AIRequestBudgetError);
  // grok-4.5 has a 256,000-token context; attached limits win over the catalogue.
  AIStreamRequest attached = requestFor(std::string(20'000, 'a'));
  attached.limits = AIRequestLimits{8'000, std::nullopt};
  EXPECT_THROW(collect(budgeted, attached), AIRequestBudgetError);
  EXPECT_EQ(wrapped.requests.size(), 0u);

  EXPECT_EQ(collect(budgeted, requestFor(std::string(20'000, 'a'))), wrapped.events);
  EXPECT_EQ(wrapped.requests.size(), 1u);
}

TEST(BudgetedAIStreamProvider, ServiceOverflowBecomesContextTooLargeAfterEarlierEvents) {
  ScriptedProvider wrapped;
  wrapped.events = {AIStreamEvent::RequestID{"resp_1"}};
  wrapped.failure = std::make_exception_ptr(
      AIHTTPClientError(AIHTTPClientError::Code::kHTTPStatus, 400, "Input token count exceeds the maximum"));
  BudgetedAIStreamProvider budgeted(wrapped, nullptr);

  core::EventStream<AIStreamEvent> stream = budgeted.stream(requestFor("hi"));
  EXPECT_EQ(stream.next(), AIStreamEvent(AIStreamEvent::RequestID{"resp_1"}));
  try {
    stream.next();
    FAIL();
  } catch (const AIRequestBudgetError& error) {
    EXPECT_EQ(error.code(), AIRequestBudgetError::Code::kContextTooLarge);
  }
  EXPECT_EQ(stream.next(), std::nullopt);
}

TEST(BudgetedAIStreamProvider, CancellingTheConsumerStopsAStalledProducer) {
  ScriptedProvider wrapped;
  wrapped.events = {AIStreamEvent::AssistantMessageDelta{"Hel"}};
  wrapped.waitForStop = true;
  BudgetedAIStreamProvider budgeted(wrapped, nullptr);
  core::EventStream<AIStreamEvent> stream = budgeted.stream(requestFor("hi"));
  EXPECT_EQ(stream.next(), AIStreamEvent(AIStreamEvent::AssistantMessageDelta{"Hel"}));
  stream.cancel();  // returns only once the producer thread has ended
  EXPECT_EQ(stream.next(), std::nullopt);
}

TEST(UsageRecordingAIStreamProvider, RecordsReportedUsageOnceWithResponseIdAndDuration) {
  platform::testing::FakeMonotonicClock clock;
  ScriptedProvider wrapped;
  wrapped.clock = &clock;
  wrapped.events = {AIStreamEvent::RequestID{"resp_7"}, AIStreamEvent::AssistantMessageDelta{"hi"},
                    AIStreamEvent::UsageReported{AIReportedUsage{10, 2, 5, 1, 15}},
                    AIStreamEvent::Completed{}};
  platform::testing::CollectingUsageRecorder recorder;
  const AIModelCatalog catalog;
  UsageRecordingAIStreamProvider recording(
      wrapped, recorder, clock, [&catalog](const std::string& model) { return catalog.provider(model); });
  AIStreamRequest request = requestFor("hi", "zai:glm-5.3");
  request.reasoningEffort = ReasoningEffort::kMax;
  request.performanceContext.emplace();
  request.performanceContext->kind = "chatTitle";

  EXPECT_EQ(collect(recording, request), wrapped.events);
  EXPECT_EQ(recorder.records(), (std::vector<AIUsageRecord>{{AIProvider::kZAICodingPlan,
                                                             "zai:glm-5.3",
                                                             AIUsageRequestKind::kTitle,
                                                             ReasoningEffort::kMax,
                                                             {{AIReportedUsage{10, 2, 5, 1, 15}, "resp_7"}},
                                                             4s}}));

  // A stream that fails after reporting usage still records it; one without usage counts as a
  // request; an unknown kind is a generic request.
  wrapped.failure = std::make_exception_ptr(std::runtime_error("dropped"));
  EXPECT_THROW(collect(recording, request), std::runtime_error);
  EXPECT_EQ(recorder.records().size(), 2u);
  wrapped.events = {AIStreamEvent::Completed{}};
  wrapped.failure = nullptr;
  request.performanceContext->kind = "summary";
  collect(recording, request);
  ASSERT_EQ(recorder.records().size(), 3u);
  EXPECT_TRUE(recorder.records()[2].reports.empty());
  EXPECT_EQ(recorder.records()[2].kind, AIUsageRequestKind::kRequest);
}

}  // namespace
}  // namespace zephyl::ai
