// The Responses family against a loopback server replaying streams shaped as
// the services send them, delivered in odd chunk sizes.
#include "ai/responses_ai_service.h"

#include <gtest/gtest.h>

#include <latch>

#include "ai/ai_request_budget.h"
#include "ai/ai_service_endpoint.h"
#include "ai/chatgpt_responses_ai_service.h"
#include "ai/openai_api_service.h"
#include "ai/responses_request_body.h"
#include "ai/xai_responses_ai_service.h"
#include "platform/linux/curl_http_transport.h"
#include "platform/testing/fake_clock.h"
#include "platform/testing/fake_monotonic_clock.h"
#include "platform/testing/fake_notes_function_tool.h"
#include "platform/testing/fake_random_source.h"
#include "platform/testing/in_memory_credential_store.h"
#include "platform/testing/loopback_http_server.h"

namespace zephyl::ai {
namespace {

using platform::testing::LoopbackConnection;
using platform::testing::LoopbackHTTPServer;
using platform::testing::LoopbackRequest;
using E = AIStreamEvent;
using core::JSONValue;

constexpr auto sse = platform::testing::responsesStreamEvent;

std::string created(std::string_view id = "resp_1") {
  return sse("response.created", R"("sequence_number":0,"response":{"id":")" + std::string(id) + R"("})");
}
std::string textDelta(std::string_view item, std::string_view text) {
  return sse("response.output_text.delta", R"("item_id":")" + std::string(item) + R"(","delta":")" +
                                               std::string(text) + R"(","logprobs":[],"obfuscation":"q2")");
}
std::string itemDone(std::string_view item) {
  return sse("response.output_item.done", R"("item":)" + std::string(item));
}
const std::string kCompletedWithUsage =
    sse("response.completed",
        R"("response":{"id":"resp_1","usage":{"input_tokens":12,"input_tokens_details":{"cached_tokens":4},)"
        R"("output_tokens":3,"output_tokens_details":{"reasoning_tokens":1},"total_tokens":15}})");
const std::string kCompleted = sse("response.completed", R"("response":{"id":"resp_1"})");

AIStreamEvent toolCall(std::string id, AIToolKind kind, AIToolCallStatus status,
                       std::optional<std::string> query = std::nullopt,
                       std::vector<std::string> sources = {}) {
  AIToolCallUpdate update;
  update.id = std::move(id);
  update.kind = kind;
  update.status = status;
  update.query = std::move(query);
  update.sourceURLs = std::move(sources);
  return E::ToolCallUpdated{std::move(update)};
}

struct Reply {
  int status;
  std::string body;
};

class FakeAccount : public AIAccountAccessSource {
 public:
  std::optional<AIAccountAccess> currentAccess(std::stop_token) override { return access; }
  std::optional<AIAccountAccess> refreshAfterUnauthorized(const AIAccountAccess& rejected,
                                                          std::stop_token) override {
    refreshedFrom.push_back(rejected.accessToken);
    return refreshed;
  }
  std::optional<AIAccountAccess> access = AIAccountAccess{"token-1", "account-7"};
  std::optional<AIAccountAccess> refreshed = AIAccountAccess{"token-2", "account-7"};
  std::vector<std::string> refreshedFrom;
};

class ResponsesServiceTest : public ::testing::Test {
 protected:
  // Serves `replies` in order, each body written in chunks of `chunk` bytes.
  void serve(std::vector<Reply> replies, size_t chunk = 1) {
    server_ = std::make_unique<LoopbackHTTPServer>(
        [this, replies, chunk](const LoopbackRequest& request, LoopbackConnection& connection, int index) {
          requests_.push_back(request);
          const Reply& reply = replies.at(static_cast<size_t>(index));
          connection.writeChunkedResponse(std::to_string(reply.status) + " X", "text/event-stream",
                                          reply.body, chunk);
        });
  }

  // Runs the producer on this thread; the events, and the failure text if any.
  std::pair<std::vector<AIStreamEvent>, std::string> run(AIStreamProvider& service,
                                                         const AIStreamRequest& request) {
    std::vector<AIStreamEvent> events;
    try {
      service.produce(request, {}, [&events](AIStreamEvent event) { events.push_back(std::move(event)); });
    } catch (const core::Error& error) {
      return {events, error.description()};
    }
    return {events, ""};
  }

  AIStreamRequest request(std::string model = "gpt-6-sol") {
    return {.input = "hi",
            .instructions = "Be brief.",
            .model = std::move(model),
            .transportRetryPolicy = AITransportRetryPolicy::interactive()};
  }

  std::string base() const { return server_->url("/backend-api/codex"); }

  std::unique_ptr<LoopbackHTTPServer> server_;
  std::vector<LoopbackRequest> requests_;  // written by the server thread, read after the exchange
  platform::CurlHTTPTransport transport_;
  platform::testing::FakeMonotonicClock clock_;
  platform::testing::FakeRandomSource random_{{0.5}};
  platform::testing::FakeClock wallClock_;
  AIHTTPClient http_{transport_, clock_, random_, wallClock_};
  FakeAccount account_;
  platform::testing::InMemoryCredentialStore credentials_;
};

TEST_F(ResponsesServiceTest, StreamsDecodeToEventsWhateverTheChunking) {
  const std::string reasoningItem =
      R"({"id":"rs_1","type":"reasoning","summary":[{"type":"summary_text","text":"Plan"}],)"
      R"("encrypted_content":"gAAA-full"})";
  const std::string callItem =
      R"({"id":"fc_1","type":"function_call","call_id":"call_1","name":"query_notes","arguments":"{}"})";
  const std::string searchItem =
      R"({"id":"ws_1","type":"web_search_call","status":"completed","action":{"type":"search","query":"zig",)"
      R"("sources":[{"type":"url","url":"https://a.example"},{"type":"url","url":"https://b.example"}]}})";
  const struct {
    const char* name;
    std::string body;
    std::vector<AIStreamEvent> events;
    std::string failure = "";
  } cases[] = {
      {"commentary and final answer apart, keep-alive, usage",
       created() + ": keep-alive\n\n" + textDelta("msg_1", "Looking") + textDelta("msg_2", "Hel") +
           textDelta("msg_2", "lo") +
           sse("response.output_text.done", R"("item_id":"msg_2","text":"Hello")") + kCompletedWithUsage,
       {E::RequestID{"resp_1"}, E::AssistantMessageDelta{"Looking"}, E::AssistantMessageDelta{"\n\n"},
        E::AssistantMessageDelta{"Hel"}, E::AssistantMessageDelta{"lo"}, E::UsageReported{{12, 4, 3, 1, 15}},
        E::Completed{}}},
      {"reasoning parts then a function call is an answer; the finished items are kept",
       created() +
           sse("response.output_item.added",
               R"("item":{"id":"rs_1","type":"reasoning","encrypted_content":"gA"})") +
           sse("response.reasoning_summary_text.delta", R"("delta":"Plan")") +
           sse("response.reasoning_summary_part.done", "") +
           sse("response.reasoning_summary_text.delta", R"("delta":"Act")") + itemDone(reasoningItem) +
           sse("response.function_call_arguments.delta", R"("delta":"{}")") + itemDone(callItem) + kCompleted,
       {E::RequestID{"resp_1"}, E::ReasoningSummaryDelta{"Plan"}, E::ReasoningSummaryDelta{"\n\n"},
        E::ReasoningSummaryDelta{"Act"},
        E::ProviderResponseItems{{{AIProvider::kCodex, JSONValue::parse(reasoningItem), "resp_1"},
                                  {AIProvider::kCodex, JSONValue::parse(callItem), "resp_1"}}},
        E::Completed{}}},
      {"web search: progress, then sources from the finished item",
       sse("response.web_search_call.in_progress", R"("item_id":"ws_1","output_index":0)") +
           sse("response.web_search_call.completed", R"("item_id":"ws_1","output_index":0)") +
           itemDone(searchItem) + textDelta("msg_1", "Zig") +
           sse("response.output_text.annotation.added",
               R"("annotation":{"type":"url_citation","url":"https://c.example","title":"C"})") +
           kCompleted,
       {toolCall("ws_1", AIToolKind::kWebSearch, AIToolCallStatus::kRunning),
        toolCall("ws_1", AIToolKind::kWebSearch, AIToolCallStatus::kCompleted),
        toolCall("ws_1", AIToolKind::kWebSearch, AIToolCallStatus::kCompleted, "zig",
                 {"https://a.example", "https://b.example"}),
        E::WebSourcesDiscovered{{"https://a.example", "https://b.example"}}, E::AssistantMessageDelta{"Zig"},
        E::RequestID{"resp_1"}, E::WebSourcesDiscovered{{"https://c.example"}},
        E::ProviderResponseItems{{{AIProvider::kCodex, JSONValue::parse(searchItem), "resp_1"}}},
        E::Completed{}}},
      {"a generated image comes from the finished item",
       sse("response.image_generation_call.generating", R"("item_id":"ig_1")") +
           sse("response.image_generation_call.completed", R"("item_id":"ig_1")") +
           itemDone(
               R"({"id":"ig_1","type":"image_generation_call","output_format":"webp","result":"UklGRg=="})") +
           kCompleted,
       {toolCall("ig_1", AIToolKind::kImageGeneration, AIToolCallStatus::kRunning),
        E::GeneratedImage{"image/webp", "RIFF"},
        toolCall("ig_1", AIToolKind::kImageGeneration, AIToolCallStatus::kCompleted), E::RequestID{"resp_1"},
        E::Completed{}}},
      {"a refusal streams as answer text; [DONE] ends without usage",
       sse("response.refusal.delta", R"("item_id":"msg_1","delta":"No.")") + "data: [DONE]\n\n" +
           kCompletedWithUsage,
       {E::AssistantMessageDelta{"No."}, E::Completed{}}},
      {"nested error event",
       textDelta("msg_1", "Hi") +
           sse("error",
               R"("error":{"type":"tokens","code":"rate_limit_exceeded","message":"Please try again in 11.054s."})") +
           sse("response.failed", R"("response":{"error":{"code":"x","message":"later"}})"),
       {E::AssistantMessageDelta{"Hi"}},
       "ChatGPT response failed: Please try again in 11.054s."},
      {"flat error event",
       sse("error", R"("code":"server_error","message":"Boom","param":null)"),
       {},
       "ChatGPT response failed: Boom"},
      {"response.failed",
       sse("response.failed", R"("response":{"error":{"code":"server_error","message":"Down"}})"),
       {},
       "ChatGPT response failed: Down"},
      {"incomplete with a reason, usage kept",
       sse("response.incomplete",
           R"("response":{"id":"r","incomplete_details":{"reason":"max_output_tokens"},"usage":{"output_tokens":9}})"),
       {E::UsageReported{{std::nullopt, std::nullopt, 9, std::nullopt, std::nullopt}}},
       "Response incomplete: max_output_tokens"},
      {"incomplete without a reason",
       sse("response.incomplete", R"("response":{"incomplete_details":null})"),
       {},
       "Response incomplete."},
      {"a body cut before any terminal event",
       created() + textDelta("msg_1", "Half an ans"),
       {E::RequestID{"resp_1"}, E::AssistantMessageDelta{"Half an ans"}},
       "The connection to ChatGPT ended before the answer was complete. Try again."},
      {"completed without any output",
       created() + kCompleted,
       {E::RequestID{"resp_1"}},
       "ChatGPT finished without returning an answer."},
  };
  for (size_t chunk : {size_t{1}, size_t{7}}) {
    for (const auto& test : cases) {
      serve({{200, test.body}}, chunk);
      ChatGPTResponsesAIService service(http_, &account_, base());
      const auto [events, failure] = run(service, request());
      EXPECT_EQ(failure, test.failure) << test.name;
      EXPECT_EQ(events, test.events) << test.name << " chunk " << chunk;
    }
  }
}

TEST_F(ResponsesServiceTest, ChatGPTRequestCarriesTheAccountAndTheBodyInProtocolOrder) {
  serve({{200, textDelta("m", "ok") + kCompleted}});
  ChatGPTResponsesAIService service(http_, &account_, base());
  AIStreamRequest turn = request();
  turn.reasoningEffort = ReasoningEffort::kHigh;
  turn.webSearchMode = AIWebToolMode::kAutomatic;
  turn.allowsLocalNotesQuery = true;
  turn.functionTools = {std::make_shared<platform::testing::FakeNotesTool>()};
  turn.allowsGeneratedImages = true;
  turn.conversationID = "chat-9";
  turn.attachments = {{"p.png", "image/png", "PNG"}, {"a.txt", "text/plain", "hey"}};
  const JSONValue reasoning = JSONValue::Object{{"type", "reasoning"}, {"encrypted_content", "e1"}};
  turn.history = {
      {.textParts = {"before"}},
      {.role = AIHistoryMessage::Role::kAssistant,
       .textParts = {"answer"},
       .providerItems = {{AIProvider::kCodex, reasoning, "r0"},
                         {AIProvider::kXAIAccount, JSONValue::Object{{"type", "reasoning"}}, "r0"},
                         {AIProvider::kCodex, JSONValue::Object{{"type", "message"}}, "r0"}},
       .generatedImages = {{"i.png", "image/png", "IMG"}}}};
  ASSERT_EQ(run(service, turn).second, "");

  ASSERT_EQ(requests_.size(), 1u);
  const LoopbackRequest& sent = requests_[0];
  EXPECT_EQ(sent.method, "POST");
  EXPECT_EQ(sent.target, "/backend-api/codex/responses");
  EXPECT_EQ(sent.header("Authorization"), "Bearer token-1");
  EXPECT_EQ(sent.header("chatgpt-account-id"), "account-7");
  EXPECT_EQ(sent.header("OpenAI-Beta"), "responses=experimental");
  EXPECT_EQ(sent.header("originator"), "zephyl");
  EXPECT_EQ(sent.header("Content-Type"), "application/json");
  EXPECT_EQ(sent.header("Accept"), "text/event-stream");
  EXPECT_EQ(
      sent.body,
      R"({"model":"gpt-6-sol","store":false,"stream":true,"instructions":"Be brief.","input":[)"
      R"({"role":"user","content":[{"type":"input_text","text":"before"}]},)"
      R"({"type":"reasoning","encrypted_content":"e1"},)"
      R"({"role":"assistant","content":[{"type":"output_text","text":"answer"}]},)"
      R"({"role":"user","content":[{"type":"input_text","text":"Previous assistant-generated image:"},)"
      R"({"type":"input_image","image_url":"data:image/png;base64,SU1H","detail":"auto"}]},)"
      R"({"role":"user","content":[{"type":"input_text","text":"hi"},)"
      R"({"type":"input_image","image_url":"data:image/png;base64,UE5H","detail":"auto"},)"
      R"({"type":"input_file","filename":"a.txt","file_data":"data:text/plain;base64,aGV5"}]}],)"
      R"("text":{"verbosity":"low"},"include":["reasoning.encrypted_content","web_search_call.action.sources"],)"
      R"("tools":[{"type":"web_search"},{"type":"image_generation"},{"type":"function","name":"query_notes",)"
      R"("parameters":{"type":"object"}}],"tool_choice":"auto","parallel_tool_calls":false,)"
      R"("reasoning":{"effort":"high","summary":"auto"},"prompt_cache_key":"chat-9"})");
}

TEST_F(ResponsesServiceTest, BodyVariesWithToolsEffortAndMember) {
  struct Turn {
    std::string model;
    std::optional<ReasoningEffort> effort;
    AIWebToolMode web;
    bool notes;
    bool images;
  };
  const struct {
    const char* name;
    Turn turn;
    std::vector<std::string> contains;
    std::vector<std::string> lacks;
  } cases[] = {
      {"effort none sends no encrypted reasoning",
       {"openai:gpt-6-sol", ReasoningEffort::kNone, AIWebToolMode::kOff, false, false},
       {R"("model":"gpt-6-sol")", R"("include":[])", R"("reasoning":{"effort":"none","summary":"auto"})",
        R"("tool_choice":"auto","parallel_tool_calls":false)"},
       {"encrypted_content", R"("tools")", "prompt_cache_key"}},
      {"web search alone runs tools in parallel",
       {"openai:gpt-6-sol", std::nullopt, AIWebToolMode::kAutomatic, false, false},
       {R"("tools":[{"type":"web_search"}],"tool_choice":"auto","parallel_tool_calls":true})"},
       {"reasoning"}},
      {"a demanded search requires a tool and drops the notes tool",
       {"openai:gpt-6-sol", std::nullopt, AIWebToolMode::kAlways, true, false},
       {R"("tool_choice":"required","parallel_tool_calls":true)"},
       {"query_notes"}},
      {"xAI: store false, images as a function tool, no search sources",
       {"grok-4.7", std::nullopt, AIWebToolMode::kAutomatic, false, true},
       {R"("model":"grok-4.7","store":false,"stream":true)", R"("name":"generate_image")", R"("include":[])"},
       {"image_generation", "web_search_call.action.sources"}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    AIStreamRequest turn = request(test.turn.model);
    turn.reasoningEffort = test.turn.effort;
    turn.webSearchMode = test.turn.web;
    turn.allowsLocalNotesQuery = test.turn.notes;
    turn.functionTools = {std::make_shared<platform::testing::FakeNotesTool>()};
    turn.allowsGeneratedImages = test.turn.images;
    const ResponsesServiceMember& member =
        test.turn.model.starts_with("grok") ? XAIResponsesAIService::kMember : OpenAIAPIService::kMember;
    const std::string body = encodeResponsesRequestBody(turn, member, responsesInputItems(turn, member));
    for (const auto& part : test.contains) EXPECT_NE(body.find(part), std::string::npos) << part;
    for (const auto& part : test.lacks) EXPECT_EQ(body.find(part), std::string::npos) << part;
  }
}

// Retries on 429 and 5xx belong to AIHTTPClient and are tested there.
TEST_F(ResponsesServiceTest, HTTPFailuresRefreshOrEndWithTheStatus) {
  const std::string ok = textDelta("m", "ok") + kCompleted;
  const std::string overflow(AIRequestBudgetError::text(AIRequestBudgetError::Code::kContextTooLarge));
  const struct {
    const char* name;
    AIProvider provider;
    std::vector<Reply> replies;
    size_t requests;
    std::string failure;
  } cases[] = {
      {"400 is final",
       AIProvider::kOpenAIAPI,
       {{400, R"({"error":{"message":"bad"}})"}},
       1,
       "OpenAI returned status 400"},
      {"an overflow is the budget's failure",
       AIProvider::kOpenAIAPI,
       {{400, R"({"error":{"code":"context_length_exceeded"}})"}},
       1,
       overflow},
      {"401 from the API key is final", AIProvider::kOpenAIAPI, {{401, ""}}, 1, "OpenAI returned status 401"},
      {"401 from the ChatGPT backend refreshes once", AIProvider::kCodex, {{401, ""}, {200, ok}}, 2, ""},
      {"a second 401 is final", AIProvider::kCodex, {{401, ""}, {401, ""}}, 2, "ChatGPT returned status 401"},
  };
  credentials_.setSecret("openAIAPIKey", "sk-test");
  for (const auto& test : cases) {
    requests_.clear();
    account_.refreshedFrom.clear();
    serve(test.replies);
    std::unique_ptr<ResponsesAIService> service;
    if (test.provider == AIProvider::kCodex) {
      service = std::make_unique<ChatGPTResponsesAIService>(http_, &account_, base());
    } else {
      service = std::make_unique<OpenAIAPIService>(http_, credentials_, server_->url("/v1"));
    }
    EXPECT_EQ(run(*service, request()).second, test.failure) << test.name;
    EXPECT_EQ(requests_.size(), test.requests) << test.name;
    EXPECT_TRUE(clock_.sleeps().empty()) << test.name;
    if (test.provider == AIProvider::kCodex) {
      EXPECT_EQ(account_.refreshedFrom, std::vector<std::string>{"token-1"}) << test.name;
      EXPECT_EQ(requests_.back().header("Authorization"), "Bearer token-2") << test.name;
    }
  }
}

TEST_F(ResponsesServiceTest, MissingCredentialsAndPlainHTTPFailBeforeAnyByteIsSent) {
  serve({});
  FakeAccount noAccountID;
  noAccountID.access = AIAccountAccess{"token", std::nullopt};
  ChatGPTResponsesAIService unsigned_(http_, &noAccountID, base());
  EXPECT_EQ(run(unsigned_, request()).second, "Sign in with ChatGPT in Settings first.");
  OpenAIAPIService noKey(http_, credentials_, base());
  EXPECT_EQ(run(noKey, request()).second, OpenAIAPIServiceError::kMissingAPIKeyText);
  credentials_.setSecret("openAIAPIKey", "sk-test");
  OpenAIAPIService remote(http_, credentials_, "http://api.example.com/v1");
  EXPECT_THROW(remote.produce(request(), {}, [](AIStreamEvent) {}), AIServiceEndpointError);
  OpenAIAPIService invalid(http_, credentials_, "api.example.com");
  EXPECT_EQ(run(invalid, request()).second, "OpenAI URL is invalid.");
  AIStreamRequest empty = request();
  empty.input = " \n";
  EXPECT_EQ(run(noKey, empty).second, "Ask a question first.");
  AIStreamRequest huge = request();
  huge.attachments = {{"big.pdf", "application/pdf", std::string(kMaximumResponsesAttachmentBytes + 1, 'x')}};
  EXPECT_EQ(run(noKey, huge).second, "\"big.pdf\" is too large to send. Remove it or choose a smaller file.");
  EXPECT_EQ(server_->requestCount(), 0);
}

TEST(AIServiceEndpoint, CredentialsGoOverPlainHTTPOnlyToLoopback) {
  const struct {
    const char* url;
    AIServiceURLCheck check;
  } cases[] = {
      {"https://api.openai.com/v1", AIServiceURLCheck::kAllowed},
      {"http://127.0.0.1:8080/v1", AIServiceURLCheck::kAllowed},
      {"http://127.9.0.1", AIServiceURLCheck::kAllowed},
      {"HTTP://LOCALHOST:1/x", AIServiceURLCheck::kAllowed},
      {"http://[::1]:9/v1", AIServiceURLCheck::kAllowed},
      {"http://127.0.0.1.example.com/v1", AIServiceURLCheck::kPlainHTTPToRemoteHost},
      {"http://localhost.example.com", AIServiceURLCheck::kPlainHTTPToRemoteHost},
      {"http://128.0.0.1", AIServiceURLCheck::kPlainHTTPToRemoteHost},
      {"http://[::2]", AIServiceURLCheck::kPlainHTTPToRemoteHost},
      {"http://127.0.0.256/v1", AIServiceURLCheck::kPlainHTTPToRemoteHost},
      {"http://127.0.0.1@evil.example", AIServiceURLCheck::kInvalid},
      {"ftp://127.0.0.1", AIServiceURLCheck::kInvalid},
      {"https://", AIServiceURLCheck::kInvalid},
  };
  for (const auto& test : cases) EXPECT_EQ(checkCredentialURL(test.url), test.check) << test.url;
}

TEST_F(ResponsesServiceTest, CancellingMidStreamEndsTheExchangeAtOnce) {
  std::latch stalled(1);
  server_ =
      std::make_unique<LoopbackHTTPServer>([&](const LoopbackRequest&, LoopbackConnection& connection, int) {
        connection.write("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n");
        connection.writeChunk(textDelta("m", "first"));
        stalled.count_down();
        connection.stallUntilServerStops();  // returns when the client hangs up
      });
  ChatGPTResponsesAIService service(http_, &account_, base());
  auto stream = service.stream(request());
  const auto first = stream.next();
  ASSERT_TRUE(first);
  EXPECT_EQ(*first, AIStreamEvent(E::AssistantMessageDelta{"first"}));
  stalled.wait();
  // Joins the producer: returns only once the transfer has ended, with the server still up.
  stream.cancel();
  EXPECT_FALSE(stream.next());
}

// A finished call of the image tool, its arguments as escaped JSON text.
std::string call(std::string_view id, std::string_view arguments) {
  return itemDone(R"({"type":"function_call","call_id":")" + std::string(id) +
                  R"(","name":"generate_image","arguments":")" + std::string(arguments) + R"("})");
}

// Answers image prompts from a script; the loop's bookkeeping is what is tested.
class ScriptedImageGenerator : public AIImageGenerator {
 public:
  AIGeneratedImageData generate(const AIImageGenerationRequest& request, std::stop_token) override {
    prompts.push_back(request.prompt);
    if (request.prompt == "mouse")
      throw AIImageGeneratorError(AIImageGeneratorError::Code::kCopyrightedMaterial);
    return {"image/png", "png:" + request.prompt};
  }
  std::vector<std::string> prompts;
};

TEST_F(ResponsesServiceTest, XAIRunsItsImageToolWithinTheFourImageLimit) {
  const std::string firstRound =
      created("r1") + call("c1", R"({\"prompt\":\"cat\"})") + call("c2", R"({\"size\":3})") +
      call("c3", R"({\"prompt\":\"mouse\"})") + call("c4", R"({\"prompt\":\"dog\"})") +
      call("c5", R"({\"prompt\":\"owl\"})") + sse("response.completed", R"("response":{"id":"r1"})");
  const std::string secondRound = call("c6", R"({\"prompt\":\"fox\"})") +
                                  call("c7", R"({\"prompt\":\"eel\"})") +
                                  sse("response.completed", R"("response":{"id":"r2"})");
  const std::string lastRound =
      textDelta("m", "Here they are.") + sse("response.completed", R"("response":{"id":"r3"})");
  serve({{200, firstRound}, {200, secondRound}, {200, lastRound}});
  credentials_.setSecret("xaiAPIKey", "xai-key");
  ScriptedImageGenerator images;
  XAIResponsesAIService service(http_, nullptr, credentials_, &images, server_->url("/v1"));
  AIStreamRequest turn = request("grok-4.7");
  turn.allowsGeneratedImages = true;
  const auto [events, failure] = run(service, turn);
  ASSERT_EQ(failure, "");

  EXPECT_EQ(images.prompts, (std::vector<std::string>{"cat", "mouse", "dog", "owl", "fox"}));
  std::vector<std::string> generated;
  std::map<std::string, std::optional<std::string>> failures;
  for (const auto& event : events) {
    if (auto* image = event.as<E::GeneratedImage>()) generated.push_back(image->bytes);
    if (auto* update = event.as<E::ToolCallUpdated>();
        update && update->update.status != AIToolCallStatus::kRunning) {
      failures[update->update.id] = update->update.failureReason;
    }
  }
  EXPECT_EQ(generated, (std::vector<std::string>{"png:cat", "png:dog", "png:owl", "png:fox"}));
  EXPECT_EQ(failures["c1"], std::nullopt);
  EXPECT_EQ(failures["c2"], std::string(XAIResponsesAIService::kInvalidOptionsMessage));
  EXPECT_EQ(failures["c3"], std::string(XAIResponsesAIService::kCopyrightMessage));
  EXPECT_EQ(failures["c7"], std::string(XAIResponsesAIService::kImageLimitMessage));
  EXPECT_EQ(events.back(), AIStreamEvent(E::Completed{}));

  ASSERT_EQ(requests_.size(), 3u);
  const std::string& second = requests_[1].body;
  EXPECT_NE(second.find(R"({"type":"function_call_output","call_id":"c2","output":")" +
                        std::string(XAIResponsesAIService::kInvalidOptionsResult) + "\"}"),
            std::string::npos);
  EXPECT_NE(second.find(R"({"type":"function_call_output","call_id":"c3","output":")" +
                        std::string(XAIResponsesAIService::kCopyrightResult) + "\"}"),
            std::string::npos);
  EXPECT_NE(requests_[2].body.find(R"("call_id":"c7","output":")" +
                                   std::string(XAIResponsesAIService::kImageFailedResult) + "\"}"),
            std::string::npos);
  EXPECT_EQ(requests_[0].header("Authorization"), "Bearer xai-key");
  EXPECT_EQ(requests_[0].header("chatgpt-account-id"), std::nullopt);
}

TEST_F(ResponsesServiceTest, XAIImagesComeFromTheServiceImageEndpointByDefault) {
  const std::string calls =
      call("c1", R"({\"prompt\":\"cat\"})") + call("c2", R"({\"prompt\":\"mouse\"})") + kCompleted;
  serve({{200, calls},
         {200, R"({"data":[{"b64_json":"iVBORw==","revised_prompt":"a cat"}]})"},
         {400, R"({"error":"Image rejected: may contain copyrighted material"})"},
         {200, textDelta("m", "Done.") + kCompleted}});
  credentials_.setSecret("xaiAPIKey", "xai-key");
  XAIResponsesAIService service(http_, nullptr, credentials_, nullptr, server_->url("/v1"));
  AIStreamRequest turn = request("grok-4.7");
  turn.allowsGeneratedImages = true;
  const auto [events, failure] = run(service, turn);
  ASSERT_EQ(failure, "");

  ASSERT_EQ(requests_.size(), 4u);
  EXPECT_EQ(requests_[1].target, "/v1/images/generations");
  EXPECT_EQ(requests_[1].body,
            R"({"model":"grok-2-image","prompt":"cat","n":1,"response_format":"b64_json"})");
  EXPECT_EQ(requests_[1].header("Authorization"), "Bearer xai-key");
  EXPECT_NE(std::find(events.begin(), events.end(), AIStreamEvent(E::GeneratedImage{"image/png", "\x89PNG"})),
            events.end());
  EXPECT_NE(requests_[3].body.find(std::string(XAIResponsesAIService::kCopyrightResult)), std::string::npos);
}

}  // namespace
}  // namespace zephyl::ai
