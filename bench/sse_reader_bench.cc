// Server-sent event reading throughput: many small events as a chat answer
// streams them, and one huge event arriving in network-sized chunks. Each runs
// beside its floor on the same bytes: a memchr line splitter that copies each
// event's lines into one string and hands it out, with no field parsing. The
// ratio is the floor's bytes_per_second over the reader's.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

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

const std::string& hugeEventBody() {
  static const std::string body = "data: " + std::string(32 * 1024 * 1024, 'x') + "\n\n";
  return body;
}

// The floor: lines found with memchr, each appended to the event being built
// (so a line split across chunks costs nothing extra), a blank line hands the
// event out.
class LineSplitter {
 public:
  std::vector<std::string> feed(std::string_view bytes) {
    std::vector<std::string> events;
    size_t at = 0;
    while (at < bytes.size()) {
      const void* found = std::memchr(bytes.data() + at, '\n', bytes.size() - at);
      if (found == nullptr) break;
      const size_t end = static_cast<size_t>(static_cast<const char*>(found) - bytes.data());
      if (end == at && !lineStarted_) {
        if (!event_.empty()) events.push_back(std::move(event_));
        event_.clear();
      } else {
        event_.append(bytes.substr(at, end - at));
      }
      lineStarted_ = false;
      at = end + 1;
    }
    event_.append(bytes.substr(at));
    lineStarted_ = at < bytes.size();
    return events;
  }

 private:
  std::string event_;
  bool lineStarted_ = false;
};

template <typename Reader>
void readInChunks(benchmark::State& state, const std::string& body) {
  size_t events = 0;
  for (auto _ : state) {
    Reader reader;
    for (size_t at = 0; at < body.size(); at += kChunk) {
      events += reader.feed(std::string_view(body).substr(at, kChunk)).size();
    }
    if constexpr (std::is_same_v<Reader, zephyl::ai::SSEReader>) events += reader.finish().size();
  }
  benchmark::DoNotOptimize(events);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * body.size()));
}

void BM_SSESmallEvents(benchmark::State& state) {
  static const std::string body = smallEventsBody();
  readInChunks<zephyl::ai::SSEReader>(state, body);
}
void BM_SSESmallEventsFloor(benchmark::State& state) {
  static const std::string body = smallEventsBody();
  readInChunks<LineSplitter>(state, body);
}
BENCHMARK(BM_SSESmallEvents)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SSESmallEventsFloor)->Unit(benchmark::kMillisecond);

void BM_SSEOneHugeEvent(benchmark::State& state) {
  readInChunks<zephyl::ai::SSEReader>(state, hugeEventBody());
}
void BM_SSEOneHugeEventFloor(benchmark::State& state) { readInChunks<LineSplitter>(state, hugeEventBody()); }
BENCHMARK(BM_SSEOneHugeEvent)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SSEOneHugeEventFloor)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
