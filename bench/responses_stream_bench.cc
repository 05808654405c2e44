// Decoding a Responses stream: a 10 MB recorded-shape answer of many small
// deltas, fed in 4 KiB chunks, through (1) the SSE reader alone, the floor;
// (2) the reader and the Responses decoder; (3) the whole OpenAI adapter over a
// scripted transport. The goal: (2) and (3) cost at most three times (1), and
// memory stays flat (peakRSSGrowthMB near 0: no copy of the whole body).
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <string>

#include "ai/openai_api_service.h"
#include "ai/responses_stream_decoder.h"
#include "ai/sse_reader.h"
#include "platform/testing/fake_clock.h"
#include "platform/testing/fake_monotonic_clock.h"
#include "platform/testing/fake_random_source.h"
#include "platform/testing/in_memory_credential_store.h"
#include "platform/testing/scripted_http_transport.h"

namespace {

using namespace zephyl;

constexpr size_t kChunk = 4096;

const std::string& recordedBody() {
  static const std::string body = [] {
    std::string text =
        "event: response.created\ndata: {\"type\":\"response.created\",\"sequence_number\":0,\"response\":"
        "{\"id\":\"resp_bench\",\"status\":\"in_progress\"}}\n\n";
    for (int i = 1; text.size() < 10 * 1024 * 1024; ++i) {
      text +=
          "event: response.output_text.delta\ndata: "
          "{\"type\":\"response.output_text.delta\",\"sequence_number\":" +
          std::to_string(i) +
          ",\"item_id\":\"msg_0a1b2c3d\",\"output_index\":1,\"content_index\":0,\"delta\":\" word" +
          std::to_string(i % 97) + " é\",\"logprobs\":[],\"obfuscation\":\"Zk3q9\"}\n\n";
    }
    text +=
        "event: response.completed\ndata: "
        "{\"type\":\"response.completed\",\"response\":{\"id\":\"resp_bench\","
        "\"usage\":{\"input_tokens\":10,\"output_tokens\":200000,\"total_tokens\":200010}}}\n\n";
    return text;
  }();
  return body;
}

long peakRSSKilobytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

void finish(benchmark::State& state, size_t events, long rssBefore) {
  benchmark::DoNotOptimize(events);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * recordedBody().size()));
  state.counters["peakRSSGrowthMB"] = static_cast<double>(peakRSSKilobytes() - rssBefore) / 1024.0;
}

void BM_SSEReaderAlone(benchmark::State& state) {
  const std::string& body = recordedBody();
  const long rss = peakRSSKilobytes();
  size_t events = 0;
  for (auto _ : state) {
    ai::SSEReader reader;
    for (size_t at = 0; at < body.size(); at += kChunk) {
      events += reader.feed(std::string_view(body).substr(at, kChunk)).size();
    }
    events += reader.finish().size();
  }
  finish(state, events, rss);
}
BENCHMARK(BM_SSEReaderAlone)->Unit(benchmark::kMillisecond);

void BM_ResponsesDecoder(benchmark::State& state) {
  const std::string& body = recordedBody();
  const long rss = peakRSSKilobytes();
  size_t events = 0;
  const ai::AIStreamProvider::Emit emit = [&events](ai::AIStreamEvent) { ++events; };
  for (auto _ : state) {
    ai::SSEReader reader;
    ai::ResponsesStreamDecoder decoder(ai::OpenAIAPIService::kMember);
    for (size_t at = 0; at < body.size(); at += kChunk) {
      for (const auto& event : reader.feed(std::string_view(body).substr(at, kChunk)))
        decoder.decode(event, emit);
    }
    for (const auto& event : reader.finish()) decoder.decode(event, emit);
  }
  finish(state, events, rss);
}
BENCHMARK(BM_ResponsesDecoder)->Unit(benchmark::kMillisecond);

void BM_OpenAIAdapterOverScriptedTransport(benchmark::State& state) {
  const std::string& body = recordedBody();
  std::vector<std::string> chunks;
  for (size_t at = 0; at < body.size(); at += kChunk) chunks.push_back(body.substr(at, kChunk));
  platform::testing::FakeMonotonicClock clock;
  platform::testing::FakeRandomSource random;
  platform::testing::FakeClock wallClock;
  platform::testing::InMemoryCredentialStore credentials;
  credentials.setSecret("openAIAPIKey", "sk-bench");
  ai::AIStreamRequest request;
  request.model = "openai:gpt-6-sol";
  request.input = "Write a long answer.";
  const long rss = peakRSSKilobytes();
  size_t events = 0;
  const ai::AIStreamProvider::Emit emit = [&events](ai::AIStreamEvent) { ++events; };
  for (auto _ : state) {
    state.PauseTiming();
    platform::testing::ScriptedHTTPTransport transport(
        {platform::testing::ScriptedHTTPExchange::response(200, chunks)});
    ai::AIHTTPClient http(transport, clock, random, wallClock);
    ai::OpenAIAPIService service(http, credentials, "https://api.openai.com/v1");
    state.ResumeTiming();
    service.produce(request, {}, emit);
  }
  finish(state, events, rss);
}
BENCHMARK(BM_OpenAIAdapterOverScriptedTransport)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
