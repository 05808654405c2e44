// Server-sent event reading throughput: many small events as a chat answer
// streams them, and one huge event arriving in network-sized chunks.
#include <benchmark/benchmark.h>

#include <string>

#include "ai/sse_reader.h"

namespace {

constexpr size_t kChunk = 4096;

std::string smallEventsBody() {
  std::string body;
  for (int i = 0; body.size() < 8 * 1024 * 1024; ++i) {
    body +=
        "event: response.output_text.delta\ndata: "
        "{\"type\":\"response.output_text.delta\",\"delta\":\"word " +
        std::to_string(i) + " é\"}\n\n";
  }
  return body;
}

void readInChunks(benchmark::State& state, const std::string& body) {
  size_t events = 0;
  for (auto _ : state) {
    zephyl::ai::SSEReader reader;
    for (size_t at = 0; at < body.size(); at += kChunk) {
      events += reader.feed(std::string_view(body).substr(at, kChunk)).size();
    }
    events += reader.finish().size();
  }
  benchmark::DoNotOptimize(events);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * body.size()));
}

void BM_SSESmallEvents(benchmark::State& state) {
  static const std::string body = smallEventsBody();
  readInChunks(state, body);
}
BENCHMARK(BM_SSESmallEvents)->Unit(benchmark::kMillisecond);

void BM_SSEOneHugeEvent(benchmark::State& state) {
  static const std::string body = "data: " + std::string(32 * 1024 * 1024, 'x') + "\n\n";
  readInChunks(state, body);
}
BENCHMARK(BM_SSEOneHugeEvent)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
