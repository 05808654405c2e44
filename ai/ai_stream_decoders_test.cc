#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ai/chat_completions_stream_decoder.h"
#include "ai/google_generate_content_stream_decoder.h"

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
  std::optional<AIStreamFailure> failure;
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
      {"deepseek reasoning, then usage on the finishing chunk",
       {role, R"({"id":"c1","choices":[{"index":0,"delta":{"content":null,"reasoning_content":"Think"}}]})",
        hello,
        R"({"id":"c1","choices":[{"index":0,"delta":{"content":""},"finish_reason":"stop"}],"usage":{"prompt_tokens":10,"completion_tokens":5,"total_tokens":15,"prompt_cache_hit_tokens":4,"prompt_cache_miss_tokens":6}})",
        "[DONE]"},
       {"id c1", "reasoning Think", "text Hello",
        R"(usage {"inputTokens":10,"cachedInputTokens":4,"outputTokens":5,"totalTokens":15})", "completed"},
       std::nullopt},
      {"openrouter reasoning, keep-alive data and a usage chunk without choices",
       {"", "ping", R"({"id":"c1","choices":[{"index":0,"delta":{"reasoning":"Hmm"}}]})", hello, stop,
        usageChunk, "[DONE]", R"({"id":"late","choices":[{"index":0,"delta":{"content":"ignored"}}]})"},
       {"id c1", "reasoning Hmm", "text Hello",
        R"(usage {"inputTokens":9,"cachedInputTokens":2,"outputTokens":3,"reasoningTokens":1,"totalTokens":12})",
        "completed"},
       std::nullopt},
      {"refusal is answer text; a finish reason without [DONE] is a whole answer",
       {R"({"id":"c1","choices":[{"index":0,"delta":{"refusal":"I can't help."}}]})", stop},
       {"id c1", "text I can't help.", "completed"},
       std::nullopt},
      {"interleaved tool-call fragments are joined by index",
       {R"({"id":"c1","choices":[{"index":0,"delta":{"tool_calls":[{"index":0,"id":"call_a","type":"function","function":{"name":"query_notes","arguments":""}}]}}]})",
        R"({"id":"c1","choices":[{"index":0,"delta":{"tool_calls":[{"index":1,"id":"call_b","type":"function","function":{"name":"query_notes","arguments":"{\"q\":"}}]}}]})",
        R"({"id":"c1","choices":[{"index":0,"delta":{"tool_calls":[{"index":0,"function":{"arguments":"{\"q\":\"a\"}"}}]}}]})",
        R"({"id":"c1","choices":[{"index":0,"delta":{"tool_calls":[{"index":1,"function":{"arguments":"\"b\"}"}}]}}]})",
        R"({"id":"c1","choices":[{"index":0,"delta":{},"finish_reason":"tool_calls"}]})", "[DONE]"},
       {"id c1",
        R"(items {"role":"assistant","content":null,"tool_calls":[{"id":"call_a","type":"function","function":{"name":"query_notes","arguments":"{\"q\":\"a\"}"}},{"id":"call_b","type":"function","function":{"name":"query_notes","arguments":"{\"q\":\"b\"}"}}]})",
        "completed"},
       std::nullopt},
      {"an error chunk after HTTP 200",
       {role, hello, R"({"error":{"message":"Rate limit reached","code":429}})", stop},
       {"id c1", "text Hello"},
       AIStreamFailure{Code::kResponseFailed, "Rate limit reached"}},
      {"a body cut before [DONE] and any finish reason",
       {role, hello},
       {"id c1", "text Hello"},
       AIStreamFailure{Code::kBrokenStream, {}}},
      {"length is reported, with the usage that came",
       {role, hello, R"({"id":"c1","choices":[{"index":0,"delta":{},"finish_reason":"length"}]})", usageChunk,
        "[DONE]"},
       {"id c1", "text Hello",
        R"(usage {"inputTokens":9,"cachedInputTokens":2,"outputTokens":3,"reasoningTokens":1,"totalTokens":12})"},
       AIStreamFailure{Code::kResponseIncomplete, "length"}},
      {"content filter",
       {hello, R"({"choices":[{"index":0,"delta":{},"finish_reason":"content_filter"}]})"},
       {"id c1", "text Hello"},
       AIStreamFailure{Code::kResponseIncomplete, "content_filter"}},
      {"an unknown finish reason",
       {hello, R"({"choices":[{"index":0,"delta":{},"finish_reason":"eaten_by_cat"}]})"},
       {"id c1", "text Hello"},
       AIStreamFailure{Code::kResponseIncomplete, "eaten_by_cat"}},
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
        lastUsage, "completed"},
       std::nullopt},
      {"a function call alone is an answer",
       {R"({"candidates":[{"content":{"parts":[{"functionCall":{"name":"query_notes","args":{"q":"x"}},"thoughtSignature":"YQ=="}],"role":"model"},"finishReason":"STOP"}]})"},
       {R"(items {"role":"model","parts":[{"functionCall":{"name":"query_notes","args":{"q":"x"}},"thoughtSignature":"YQ=="}]})",
        "completed"},
       std::nullopt},
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

}  // namespace
}  // namespace zephyl::ai
