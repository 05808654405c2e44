// ACP connection throughput. Framing: a 32 MiB line arriving in 4 KiB pieces
// and 1,000,000 small frames, read into ACPLineBuffer and split, beside the
// same pieces read into one buffer and split with a bare memchr (the floor). Round trips: echo
// requests answered by the fake agent one at a time, over real pipes.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

#include "agents/acp_connection.h"
#include "agents/acp_line_buffer.h"
#include "platform/linux/posix_spawn_child_process.h"

namespace {

constexpr size_t kPiece = 4096;

const std::string& longLine() {
  static const std::string bytes = std::string(zephyl::agents::kACPMaxLineBytes - 1, 'x') + "\n";
  return bytes;
}

const std::string& smallFrames() {
  static const std::string bytes = [] {
    std::string text;
    for (int i = 0; i < 1'000'000; ++i) {
      text += R"({"jsonrpc":"2.0","method":"session/update","params":{"n":)" + std::to_string(i) + "}}\n";
    }
    return text;
  }();
  return bytes;
}

// Both sides pay the copy a read(2) makes: Zephyl reads into the line buffer's
// free space, the floor into one reused piece.
//
// `fresh`: a new buffer per pass, as for a connection's first long line; else
// one buffer for every pass, as for the lines after it.
void lineBuffer(benchmark::State& state, const std::string& bytes, bool fresh = true) {
  size_t lines = 0;
  zephyl::agents::ACPLineBuffer kept;
  for (auto _ : state) {
    zephyl::agents::ACPLineBuffer freshBuffer;
    auto& buffer = fresh ? freshBuffer : kept;
    for (size_t at = 0; at < bytes.size(); at += kPiece) {
      const size_t piece = std::min(kPiece, bytes.size() - at);
      std::memcpy(buffer.space(kPiece).data(), bytes.data() + at, piece);
      lines += buffer.commit(piece).size();
    }
  }
  benchmark::DoNotOptimize(lines);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}

// The floor: each piece read into one reused buffer, every line feed found
// with memchr, nothing kept.
void memchrFloor(benchmark::State& state, const std::string& bytes) {
  size_t lines = 0;
  std::vector<char> read(kPiece);
  for (auto _ : state) {
    for (size_t at = 0; at < bytes.size(); at += kPiece) {
      const size_t size = std::min(kPiece, bytes.size() - at);
      std::memcpy(read.data(), bytes.data() + at, size);
      const char* piece = read.data();
      const char* end = piece + size;
      while (const void* found = std::memchr(piece, '\n', static_cast<size_t>(end - piece))) {
        ++lines;
        piece = static_cast<const char*>(found) + 1;
      }
      benchmark::ClobberMemory();
    }
  }
  benchmark::DoNotOptimize(lines);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}

void BM_ACPLineBufferLongLine(benchmark::State& state) { lineBuffer(state, longLine()); }
void BM_ACPLineBufferLongLineReused(benchmark::State& state) { lineBuffer(state, longLine(), false); }
void BM_MemchrFloorLongLine(benchmark::State& state) { memchrFloor(state, longLine()); }
void BM_ACPLineBufferSmallFrames(benchmark::State& state) { lineBuffer(state, smallFrames()); }
void BM_MemchrFloorSmallFrames(benchmark::State& state) { memchrFloor(state, smallFrames()); }
BENCHMARK(BM_ACPLineBufferLongLine)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ACPLineBufferLongLineReused)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MemchrFloorLongLine)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ACPLineBufferSmallFrames)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MemchrFloorSmallFrames)->Unit(benchmark::kMillisecond);

void BM_ACPRoundTrips(benchmark::State& state) {
  zephyl::platform::PosixSpawnChildProcessLauncher launcher;
  zephyl::agents::ACPConnection connection(launcher, {.executable = ZEPHYL_FAKE_ACP_AGENT}, {});
  connection.start();
  const zephyl::core::JSONValue params = zephyl::core::JSONValue::Object{{"text", "ping"}};
  for (auto _ : state) benchmark::DoNotOptimize(connection.request("echo", params));
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}
// Wall time: the work happens on the reading thread and in the agent.
BENCHMARK(BM_ACPRoundTrips)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
