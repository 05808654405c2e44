#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "ai/ai_request_budget.h"
#include "ai/ai_service_endpoint.h"
#include "ai/ai_service_factory.h"
#include "ai/chat_completions_ai_services.h"
#include "ai/chat_completions_stream_decoder.h"
#include "ai/google_generate_content_stream_decoder.h"
#include "core/in_memory_settings_store.h"
#include "platform/linux/curl_http_transport.h"
#include "platform/testing/collecting_usage_recorder.h"
#include "platform/testing/fake_clock.h"
#include "platform/testing/fake_monotonic_clock.h"
#include "platform/testing/fake_random_source.h"
#include "platform/testing/in_memory_credential_store.h"
#include "platform/testing/loopback_http_server.h"

namespace zephyl::ai {
namespace {

using Code = AIServiceError::Code;

// One line per event, so a table can hold a whole stream's expectation.
std::string describe(const AIStreamEvent& event) {
  if (auto* e = event.as<AIStreamEvent::RequestID>()) return "id " + e->id;
  if (auto* e = event.as<AIStreamEvent::AssistantMessageDelta>()) return "text " + e->text;
  if (auto* e = event.as<AIStreamEvent::ReasoningSummaryDelta>()) return "reasoning " + e->text;
  if (auto* e = event.as<AIStreamEvent::ProviderResponseItems>()) {
    std::string text = "items";
    for (const auto& item : e->items) text += " " + item.payload.serialized();
    return text;
  }
  if (auto* e = event.as<AIStreamEvent::UsageReported>()) return "usage " + e->usage.toJSON().serialized();
  if (event.as<AIStreamEvent::Completed>()) return "completed";
  return "other";
}

struct DecoderCase {
  const char* name;
  std::vector<std::string> data;  // one entry per event's data
  std::vector<std::string> events;
  std::optional<AIStreamFailure> failure = std::nullopt;
};

template <typename Decoder>
void expectDecodes(Decoder& decoder, const DecoderCase& test) {
  std::vector<std::string> events;
  auto emit = [&events](AIStreamEvent event) { events.push_back(describe(event)); };
  for (const auto& data : test.data) decoder.decode(data, emit);
  EXPECT_EQ(decoder.finish(emit), test.failure) << test.name;
  EXPECT_EQ(events, test.events) << test.name;
}

TEST(ChatCompletionsStreamDecoder, ReadsEachServicesHabits) {
  const std::string role =
      R"({"id":"c1","choices":[{"index":0,"delta":{"role":"assistant","content":""},"finish_reason":null}],"usage":null})";
  const std::string hello =
      R"({"id":"c1","choices":[{"index":0,"delta":{"content":"Hello"},"finish_reason":null}]})";
  const std::string stop = R"({"id":"c1","choices":[{"index":0,"delta":{},"finish_reason":"stop"}]})";
  const std::string usageChunk =
      R"({"id":"c1","choices":[],"usage":{"prompt_tokens":9,"completion_tokens":3,"total_tokens":12,"prompt_tokens_details":{"cached_tokens":2},"completion_tokens_details":{"reasoning_tokens":1}}})";
  const std::vector<DecoderCase> cases = {
      {"openrouter reasoning, keep-alive data and a usage chunk without choices",
       {"", "ping", R"({"id":"c1","choices":[{"index":0,"delta":{"reasoning":"Hmm"}}]})", hello, stop,
        usageChunk, "[DONE]", R"({"id":"late","choices":[{"index":0,"delta":{"content":"ignored"}}]})"},
       {"id c1", "reasoning Hmm", "text Hello",
        R"(usage {"inputTokens":9,"cachedInputTokens":2,"outputTokens":3,"reasoningTokens":1,"totalTokens":12})",
        "completed"}},
      {"refusal is answer text; a finish reason without [DONE] is a whole answer",
       {R"({"id":"c1","choices":[{"index":0,"delta":{"refusal":"I can't help."}}]})", stop},
       {"id c1", "text I can't help.", "completed"}},
      {"interleaved tool-call fragments are joined by index",
       {R"({"id":"c1","choices":[{"index":0,"delta":{"tool_calls":[{"index":0,"id":"call_a","type":"function","function":{"name":"query_notes","arguments":""}}]}}]})",
        R"({"id":"c1","choices":[{"index":0,"delta":{"tool_calls":[{"index":1,"id":"call_b","type":"function","function":{"name":"query_notes","arguments":"{\"q\":"}}]}}]})",
        R"({"id":"c1","choices":[{"index":0,"delta":{"tool_calls":[{"index":0,"function":{"arguments":"{\"q\":\"a\"}"}}]}}]})",
        R"({"id":"c1","choices":[{"index":0,"delta":{"tool_calls":[{"index":1,"function":{"arguments":"\"b\"}"}}]}}]})",
        R"({"id":"c1","choices":[{"index":0,"delta":{},"finish_reason":"tool_calls"}]})", "[DONE]"},
       {"id c1",
        R"(items {"role":"assistant","content":null,"tool_calls":[{"id":"call_a","type":"function","function":{"name":"query_notes","arguments":"{\"q\":\"a\"}"}},{"id":"call_b","type":"function","function":{"name":"query_notes","arguments":"{\"q\":\"b\"}"}}]})",
        "completed"}},
      {"an error chunk after HTTP 200",
       {role, hello, R"({"error":{"message":"Rate limit reached","code":429}})", stop},
       {"id c1", "text Hello"},
       AIStreamFailure{Code::kResponseFailed, "Rate limit reached"}},
      {"length is reported, with the usage that came",
       {role, hello, R"({"id":"c1","choices":[{"index":0,"delta":{},"finish_reason":"length"}]})", usageChunk,
        "[DONE]"},
       {"id c1", "text Hello",
        R"(usage {"inputTokens":9,"cachedInputTokens":2,"outputTokens":3,"reasoningTokens":1,"totalTokens":12})"},
       AIStreamFailure{Code::kResponseIncomplete, "length"}},
      {"any other reason, such as a content filter's",
       {hello, R"({"choices":[{"index":0,"delta":{},"finish_reason":"content_filter"}]})"},
       {"id c1", "text Hello"},
       AIStreamFailure{Code::kResponseIncomplete, "content_filter"}},
      {"a chunk that starts an object and is not JSON",
       {hello, R"({"choices":[{"delta":)", stop},
       {"id c1", "text Hello"},
       AIStreamFailure{Code::kUnreadableResponse, {}}},
      {"tool-call arguments that never close",
       {R"({"choices":[{"index":0,"delta":{"tool_calls":[{"index":0,"id":"call_a","function":{"name":"query_notes","arguments":"{\"q\":\"a"}}]}}]})",
        R"({"choices":[{"index":0,"delta":{},"finish_reason":"tool_calls"}]})", "[DONE]"},
       {},
       AIStreamFailure{Code::kMalformedToolCall, {}}},
      {"[DONE] with nothing said", {role, "[DONE]"}, {"id c1"}, AIStreamFailure{Code::kEmptyResponse, {}}},
  };
  for (const auto& test : cases) {
    ChatCompletionsStreamDecoder decoder(AIProvider::kDeepSeek);
    expectDecodes(decoder, test);
  }
}

TEST(GoogleGenerateContentStreamDecoder, ReadsThoughtsSignaturesAndCumulativeUsage) {
  const std::string usage1 =
      R"("usageMetadata":{"promptTokenCount":7,"candidatesTokenCount":1,"thoughtsTokenCount":4,"totalTokenCount":12})";
  const std::string usage2 =
      R"("usageMetadata":{"promptTokenCount":7,"cachedContentTokenCount":3,"candidatesTokenCount":5,"thoughtsTokenCount":4,"totalTokenCount":16})";
  const std::string lastUsage =
      R"(usage {"inputTokens":7,"cachedInputTokens":3,"outputTokens":9,"reasoningTokens":4,"totalTokens":16})";
  const std::vector<DecoderCase> cases = {
      {"thoughts are reasoning; a signature on the closing empty part is kept with the merged text",
       {R"({"candidates":[{"content":{"parts":[{"text":"Plan it","thought":true}],"role":"model"}}],)" +
            usage1 + R"(,"responseId":"g1"})",
        R"({"candidates":[{"content":{"parts":[{"text":"Hel"}],"role":"model"}}],)" + usage1 +
            R"(,"responseId":"g1"})",
        R"({"candidates":[{"content":{"parts":[{"text":"lo"}],"role":"model"}}],"responseId":"g1"})",
        R"({"candidates":[{"content":{"parts":[{"text":"","thoughtSignature":"c2ln"}],"role":"model"},"finishReason":"STOP"}],)" +
            usage2 + R"(,"responseId":"g1"})"},
       {"id g1", "reasoning Plan it", "text Hel", "text lo",
        R"(items {"role":"model","parts":[{"text":"Hello"},{"text":"","thoughtSignature":"c2ln"}]})",
        lastUsage, "completed"}},
      {"a function call alone is an answer",
       {R"({"candidates":[{"content":{"parts":[{"functionCall":{"name":"query_notes","args":{"q":"x"}},"thoughtSignature":"YQ=="}],"role":"model"},"finishReason":"STOP"}]})"},
       {R"(items {"role":"model","parts":[{"functionCall":{"name":"query_notes","args":{"q":"x"}},"thoughtSignature":"YQ=="}]})",
        "completed"}},
      {"a finish reason other than STOP, with the usage",
       {R"({"candidates":[{"content":{"parts":[{"text":"Hi"}]},"finishReason":"MAX_TOKENS"}],)" + usage2 +
        "}"},
       {"text Hi", lastUsage},
       AIStreamFailure{Code::kResponseIncomplete, "MAX_TOKENS"}},
      {"an error chunk",
       {R"({"error":{"code":503,"message":"The model is overloaded.","status":"UNAVAILABLE"}})"},
       {},
       AIStreamFailure{Code::kResponseFailed, "The model is overloaded."}},
      {"a body that ends without a finish reason",
       {R"({"candidates":[{"content":{"parts":[{"text":"Hi"}]}}]})"},
       {"text Hi"},
       AIStreamFailure{Code::kBrokenStream, {}}},
      {"only thoughts",
       {R"({"candidates":[{"content":{"parts":[{"text":"hm","thought":true}]},"finishReason":"STOP"}]})"},
       {"reasoning hm"},
       AIStreamFailure{Code::kEmptyResponse, {}}},
  };
  for (const auto& test : cases) {
    GoogleGenerateContentStreamDecoder decoder;
    expectDecodes(decoder, test);
  }
}

// Each service end to end: the factory's full stack over the real HTTP
// transport to a loopback server that replays the service's stream in odd
// chunk sizes and keeps the request it was sent.

using platform::testing::LoopbackConnection;
using platform::testing::LoopbackHTTPServer;
using platform::testing::LoopbackRequest;

struct Reply {
  long status = 200;
  std::string body;
};

std::string sse(std::initializer_list<std::string_view> data, std::string_view end = "\n\n") {
  std::string body;
  for (std::string_view line : data) {
    body += line.starts_with(':') ? std::string(line) : "data: " + std::string(line);
    body += end;
  }
  return body;
}

class JSONStreamServiceTest : public ::testing::Test {
 public:
  // Serves `replies` in turn, bodies cut into pieces of `chunk` bytes.
  void serve(std::vector<Reply> replies, size_t chunk) {
    server_ = std::make_unique<LoopbackHTTPServer>(
        [this, replies = std::move(replies), chunk](const LoopbackRequest& request,
                                                    LoopbackConnection& connection, int index) {
          {
            std::lock_guard lock(mutex_);
            received_.push_back(request);
          }
          const Reply& reply = replies[std::min<size_t>(index, replies.size() - 1)];
          connection.writeChunkedResponse(std::to_string(reply.status) + " X", "text/event-stream",
                                          reply.body, chunk);
        });
  }

  std::vector<std::string> stream(AIStreamRequest request, std::optional<std::string> baseURL) {
    AIServiceFactory factory(
        AIServiceDependencies{transport_, clock_, random_, wallClock_, credentials_, recorder_, &settings_},
        AIModelCatalog(AIUserModels::fromSettings(settings_)), std::move(baseURL));
    std::vector<std::string> events;
    factory.makeProvider(request.model)->produce(request, {}, [&events](AIStreamEvent event) {
      events.push_back(describe(event));
    });
    return events;
  }

  // The failure's text, or "" when the stream completed.
  std::string failureOf(AIStreamRequest request, std::optional<std::string> baseURL) {
    try {
      stream(std::move(request), std::move(baseURL));
    } catch (const core::Error& error) {
      return error.description();
    }
    return "";
  }

  LoopbackRequest lastRequest() {
    std::lock_guard lock(mutex_);
    return received_.empty() ? LoopbackRequest{} : received_.back();
  }
  int requestCount() { return server_ ? server_->requestCount() : 0; }

  platform::CurlHTTPTransport transport_;
  platform::testing::FakeMonotonicClock clock_;
  platform::testing::FakeRandomSource random_{{0.5}};
  platform::testing::FakeClock wallClock_;
  platform::testing::InMemoryCredentialStore credentials_;
  core::InMemorySettingsStore settings_;
  platform::testing::CollectingUsageRecorder recorder_;
  std::unique_ptr<LoopbackHTTPServer> server_;
  std::mutex mutex_;  // guards received_
  std::vector<LoopbackRequest> received_;
};

AIStreamRequest requestFor(std::string model, std::optional<ReasoningEffort> effort) {
  return {.input = "hi", .instructions = "Be brief.", .model = std::move(model), .reasoningEffort = effort};
}

const std::string kDone = "[DONE]";

TEST_F(JSONStreamServiceTest, EachServiceStreamsFromItsReplayAndSendsItsOwnRequest) {
  struct Case {
    const char* name;
    AIStreamRequest request;
    std::function<void(JSONStreamServiceTest&)> setUp;  // keys and settings
    // The --base-url ("" for the setting), the replay's chunk size and the path the request goes to.
    std::tuple<std::string, size_t, std::string> route;
    std::string body;  // the replayed stream
    std::vector<std::pair<std::string, std::optional<std::string>>> headers;
    std::string requestBody;
    std::vector<std::string> events;
  };
  AIStreamRequest deepseek = requestFor("deepseek:deepseek-flash", ReasoningEffort::kHigh);
  using Role = AIHistoryMessage::Role;
  const AIHistoryMessage earlier{.role = Role::kUser, .textParts = {"earlier"}};
  deepseek.history = {earlier, {.role = Role::kAssistant, .textParts = {"answer", " "}}};
  AIStreamRequest cloudflare = requestFor("cloudflare:@cf/meta/llama-3.1-8b-instruct", std::nullopt);
  cloudflare.attachments = {{"a.png", "image/png", "\x89PNG"}};
  AIStreamRequest google = requestFor("google:gemini-3.8-flash", ReasoningEffort::kHigh);
  const auto signedAnswer = R"({"role":"model","parts":[{"text":"answer","thoughtSignature":"c2ln"}]})";
  google.history = {
      earlier,
      {.role = Role::kAssistant,
       .textParts = {"answer"},
       .providerItems = {{AIProvider::kGoogleAPI, core::JSONValue::parse(signedAnswer), "g0"}}}};
  const std::string chatUsage = R"("usage":{"prompt_tokens":9,"completion_tokens":3,"total_tokens":12})";
  const std::string usageEvent = R"(usage {"inputTokens":9,"outputTokens":3,"totalTokens":12})";
  const std::string tail = R"(,"stream":true,"stream_options":{"include_usage":true})";

  const std::vector<Case> cases = {
      {"deepseek: keep-alive, reasoning_content, usage on the finishing chunk",
       deepseek,
       [](auto& t) { t.credentials_.setSecret("deepseekAIAPIKey", "dk"); },
       {"/", 1, "/chat/completions"},
       sse({": keep-alive",
            R"({"id":"d1","choices":[{"index":0,"delta":{"role":"assistant","content":null,"reasoning_content":"Hmm"}}]})",
            R"({"id":"d1","choices":[{"index":0,"delta":{"content":"Hé"}}]})",
            R"({"id":"d1","choices":[{"index":0,"delta":{"content":""},"finish_reason":"stop"}],"usage":{"prompt_tokens":9,"completion_tokens":3,"total_tokens":12,"prompt_cache_hit_tokens":4,"prompt_cache_miss_tokens":5}})",
            kDone}),
       {{"Authorization", "Bearer dk"}, {"Accept", "text/event-stream"}},
       R"({"model":"deepseek-flash","messages":[{"role":"system","content":"Be brief."},{"role":"user","content":"earlier"},{"role":"assistant","content":"answer"},{"role":"user","content":"hi"}])" +
           tail + R"(,"reasoning_effort":"high"})",
       {"id d1", "reasoning Hmm", "text Hé",
        R"(usage {"inputTokens":9,"cachedInputTokens":4,"outputTokens":3,"totalTokens":12})", "completed"}},
      {"openrouter: comment keep-alives, reasoning, usage on a chunk without choices",
       requestFor("openrouter:openrouter/auto", ReasoningEffort::kLow),
       [](auto& t) { t.credentials_.setSecret("openRouterAIAPIKey", "ok"); },
       {"/api/v1", 7, "/api/v1/chat/completions"},
       sse({": OPENROUTER PROCESSING", R"({"id":"o1","choices":[{"index":0,"delta":{"reasoning":"Hmm"}}]})",
            R"({"id":"o1","choices":[{"index":0,"delta":{"content":"Hi"},"finish_reason":"stop"}]})",
            R"({"id":"o1","choices":[],)" + chatUsage + "}", kDone}),
       {{"Authorization", "Bearer ok"}, {"X-Title", "Zephyl"}},
       R"({"model":"openrouter/auto","messages":[{"role":"system","content":"Be brief."},{"role":"user","content":"hi"}])" +
           tail + R"(,"reasoning":{"effort":"low"}})",
       {"id o1", "reasoning Hmm", "text Hi", usageEvent, "completed"}},
      {"cloudflare: the account id in the configured path, an image as a data URL",
       cloudflare,
       [](auto& t) {
         t.credentials_.setSecret("cloudflareWorkersAIAPIToken", "ct");
         t.credentials_.setSecret("cloudflareWorkersAIAccountID", "acc9");
         t.settings_.setJSONValue(
             "aiProviderBaseURLs",
             core::JSONValue::Object{
                 {"cloudflareWorkersAI", t.server_->url("/client/v4/accounts/{account_id}/ai/v1")}});
       },
       {"", 3, "/client/v4/accounts/acc9/ai/v1/chat/completions"},
       sse({R"({"id":"c1","choices":[{"index":0,"delta":{"content":"A cat."},"finish_reason":"stop"}]})",
            kDone}),
       {{"Authorization", "Bearer ct"}},
       R"({"model":"@cf/meta/llama-3.1-8b-instruct","messages":[{"role":"system","content":"Be brief."},{"role":"user","content":[{"type":"text","text":"hi"},{"type":"image_url","image_url":{"url":"data:image/png;base64,iVBORw=="}}]}])" +
           tail + "}",
       {"id c1", "text A cat.", "completed"}},
      {"z.ai: thinking switched on, reasoning_content",
       requestFor("zai:glm-5.3", ReasoningEffort::kMax),
       [](auto& t) { t.credentials_.setSecret("zaiCodingPlanAPIKey", "zk"); },
       {"/api/coding/paas/v4", 13, "/api/coding/paas/v4/chat/completions"},
       sse({R"({"id":"z1","choices":[{"index":0,"delta":{"reasoning_content":"Let me"}}]})",
            R"({"id":"z1","choices":[{"index":0,"delta":{"content":"Hi"},"finish_reason":"stop"}],)" +
                chatUsage + "}",
            kDone}),
       {{"Authorization", "Bearer zk"}},
       R"({"model":"glm-5.3","messages":[{"role":"system","content":"Be brief."},{"role":"user","content":"hi"}])" +
           tail + R"(,"thinking":{"type":"enabled"}})",
       {"id z1", "reasoning Let me", "text Hi", usageEvent, "completed"}},
      {"opencode: an effort of none is still sent",
       requestFor("opencode:kimi-k3", ReasoningEffort::kNone),
       [](auto& t) { t.credentials_.setSecret("openCodeAPIKey", "ck"); },
       {"/zen/go/v1", 64, "/zen/go/v1/chat/completions"},
       sse({R"({"id":"oc","choices":[{"index":0,"delta":{"content":"Hi"},"finish_reason":"stop"}]})", kDone}),
       {{"Authorization", "Bearer ck"}},
       R"({"model":"kimi-k3","messages":[{"role":"system","content":"Be brief."},{"role":"user","content":"hi"}])" +
           tail + R"(,"reasoning_effort":"none"})",
       {"id oc", "text Hi", "completed"}},
      {"custom: the provider's own base URL and no key, so no Authorization",
       requestFor("custom-openai:qwen-local", ReasoningEffort::kMedium),
       [](auto& t) {
         t.settings_.setJSONValue("customOpenAIProviders",
                                  core::JSONValue::Array{core::JSONValue::Object{
                                      {"id", "lab"},
                                      {"name", "Lab Box"},
                                      {"baseURL", t.server_->url("/v1/")},
                                      {"models", core::JSONValue::Array{"qwen-local"}}}});
       },
       {"", 5, "/v1/chat/completions"},
       sse({R"({"id":"l1","choices":[{"index":0,"delta":{"content":"Hi"},"finish_reason":"stop"}]})", kDone}),
       {{"Authorization", std::nullopt}},
       R"({"model":"qwen-local","messages":[{"role":"system","content":"Be brief."},{"role":"user","content":"hi"}])" +
           tail + R"(,"reasoning_effort":"medium"})",
       {"id l1", "text Hi", "completed"}},
      {"google: CRLF framing, thoughts, the signed turn sent back, the last usage",
       google,
       [](auto& t) { t.credentials_.setSecret("googleAIAPIKey", "gk"); },
       {"/v1beta/", 11, "/v1beta/models/gemini-3.8-flash:streamGenerateContent?alt=sse"},
       sse({R"({"candidates":[{"content":{"parts":[{"text":"Plan","thought":true}],"role":"model"}}],"usageMetadata":{"promptTokenCount":5,"totalTokenCount":5},"responseId":"g1"})",
            R"({"candidates":[{"content":{"parts":[{"text":"Hi","thoughtSignature":"eHk="}],"role":"model"},"finishReason":"STOP"}],"usageMetadata":{"promptTokenCount":5,"candidatesTokenCount":1,"thoughtsTokenCount":2,"totalTokenCount":8},"responseId":"g1"})"},
           "\r\n\r\n"),
       {{"x-goog-api-key", "gk"}, {"Authorization", std::nullopt}},
       R"({"systemInstruction":{"parts":[{"text":"Be brief."}]},"contents":[{"role":"user","parts":[{"text":"earlier"}]},{"role":"model","parts":[{"text":"answer","thoughtSignature":"c2ln"}]},{"role":"user","parts":[{"text":"hi"}]}],"generationConfig":{"thinkingConfig":{"includeThoughts":true,"thinkingLevel":"high"}}})",
       {"id g1", "reasoning Plan", "text Hi",
        R"(usage {"inputTokens":5,"outputTokens":3,"reasoningTokens":2,"totalTokens":8})",
        R"(items {"role":"model","parts":[{"text":"Hi","thoughtSignature":"eHk="}]})", "completed"}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    const auto& [base, chunk, target] = test.route;
    serve({Reply{200, test.body}}, chunk);
    test.setUp(*this);
    EXPECT_EQ(stream(test.request, base.empty() ? std::nullopt : std::optional(server_->url(base))),
              test.events);
    const LoopbackRequest sent = lastRequest();
    EXPECT_EQ(sent.method, "POST");
    EXPECT_EQ(sent.target, target);
    EXPECT_EQ(sent.body, test.requestBody);
    for (const auto& [name, value] : test.headers) EXPECT_EQ(sent.header(name), value) << name;
    settings_.remove("aiProviderBaseURLs");
    settings_.remove("customOpenAIProviders");
  }
}

TEST_F(JSONStreamServiceTest, FailuresEndWithTheServicesOwnMessage) {
  struct Case {
    const char* name;
    std::string model;
    std::vector<Reply> replies;  // each one answers a request
    std::string message;
    std::vector<MonotonicClock::Duration> sleeps = {};
  };
  const std::string hello = R"({"id":"x","choices":[{"index":0,"delta":{"content":"Hel"}}]})";
  const std::vector<Case> cases = {
      {"google's RetryInfo delay in the body counts like Retry-After",
       "google:gemini-3.5-flash-lite",
       {{429,
         R"({"error":{"code":429,"message":"Quota","status":"RESOURCE_EXHAUSTED","details":[{"@type":"type.googleapis.com/google.rpc.RetryInfo","retryDelay":"34.4s"}]}})"},
        {200, sse({R"({"candidates":[{"content":{"parts":[{"text":"Hi"}]},"finishReason":"STOP"}]})"},
                  "\r\n\r\n")}},
       "",
       {std::chrono::duration_cast<MonotonicClock::Duration>(std::chrono::duration<double>(34.4))}},
      {"a final status shows the service's words",
       "deepseek:deepseek-flash",
       {{401, R"({"error":{"message":"Authentication Fails, no such user","type":"authentication_error"}})"}},
       "DeepSeek returned status 401: Authentication Fails, no such user"},
      {"an overflow reported by the service is the budget's failure",
       "deepseek:deepseek-flash",
       {{400, R"({"error":{"message":"This model's maximum context length is 65536 tokens."}})"}},
       std::string(AIRequestBudgetError::text(AIRequestBudgetError::Code::kContextTooLarge))},
      {"an error chunk after HTTP 200",
       "zai:glm-5.3",
       {{200, sse({hello, R"({"error":{"message":"Insufficient balance","code":"1113"}})"})}},
       "GLM Coding Plan response failed: Insufficient balance"},
      {"a body cut off mid-answer",
       "opencode:glm-5.3",
       {{200, sse({hello})}},
       "OpenCode stopped sending before the answer was complete."},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    serve(test.replies, 9);
    for (const char* name : {"deepseekAIAPIKey", "openRouterAIAPIKey", "cloudflareWorkersAIAPIToken",
                             "zaiCodingPlanAPIKey", "openCodeAPIKey", "googleAIAPIKey"}) {
      credentials_.setSecret(name, "key");
    }
    AIStreamRequest request = requestFor(test.model, std::nullopt);
    request.transportRetryPolicy = AITransportRetryPolicy{{1.0}, 60.0};
    const auto before = clock_.sleeps().size();
    EXPECT_EQ(failureOf(request, server_->url("/")), test.message);
    EXPECT_EQ(requestCount(), static_cast<int>(test.replies.size()));
    const auto sleeps = clock_.sleeps();
    EXPECT_EQ(std::vector(sleeps.begin() + before, sleeps.end()), test.sleeps);
  }
}

TEST_F(JSONStreamServiceTest, RefusesBeforeSendingWithoutWhatTheServiceNeeds) {
  serve({Reply{}}, 1);
  credentials_.setSecret("cloudflareWorkersAIAPIToken", "ct");
  credentials_.setSecret("openRouterAIAPIKey", "ok");
  const struct {
    std::string model;
    std::optional<std::string> baseURL;
    std::string message;
  } cases[] = {
      {"deepseek:deepseek-flash", server_->url("/"),
       "Add your DeepSeek API key in Settings first (or set DEEPSEEK_API_KEY)."},
      {"cloudflare:@cf/meta/llama-3.1-8b-instruct", std::nullopt,
       "Add your Cloudflare Workers AI account ID in Settings first (or set CLOUDFLARE_ACCOUNT_ID)."},
      {"openrouter:openrouter/auto", "http://example.com/api/v1",
       std::string(AIServiceEndpointError::text(AIServiceEndpointError::Code::kPlainHTTPCredential))},
      {"custom-openai:gone", server_->url("/"),
       "Custom does not offer this model. Choose another model in Settings."},
  };
  for (const auto& test : cases)
    EXPECT_EQ(failureOf(requestFor(test.model, std::nullopt), test.baseURL), test.message);
  EXPECT_EQ(requestCount(), 0);
}

}  // namespace
}  // namespace zephyl::ai
