// Saving and loading a large chat history: 1,000 sessions of 50 messages.
// A save (lock, check the file's version, encode the changed session, write,
// fsync, rename) is reported beside its floor, writing the same bytes to a
// file with fsync; a load (read, validate, decode every session) beside
// reading the same bytes and looking at each once.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include "assistant/chat_session_json.h"
#include "assistant/chat_session_store.h"
#include "assistant/internal/sample_chat_sessions.h"
#include "platform/linux/flock_file_locker.h"
#include "platform/linux/posix_file_system.h"
#include "platform/testing/fake_clock.h"
#include "platform/testing/test_folder.h"

namespace {

using namespace zephyl;

constexpr int kSessions = 1000;
constexpr int kMessages = 50;

const core::TimePoint kStart = core::parseIso8601("2026-11-14T09:30:00Z").value();

// A temporary folder filled with the large history. Where /tmp is a tmpfs
// (fsync free), point TMPDIR at a disk folder or the figures mean nothing.
struct History {
  History() {
    std::vector<assistant::ChatSession> sessions;
    for (int i = 0; i < kSessions; ++i)
      sessions.push_back(assistant::internal::sampleChatSession(i, kMessages, kStart));
    text = assistant::encodeChatSessions(sessions);
    files.writeFileAtomically(folder.file(std::string(assistant::kChatSessionsFileName)), text);
  }

  platform::testing::TestFolder folder;
  platform::PosixFileSystem files;
  platform::FlockFileLocker locker;
  platform::testing::FakeClock clock{kStart};
  std::string text;
};

struct Store {
  explicit Store(History& history)
      : images(history.folder.file("images"), history.files, [] { return std::string("x"); }),
        store(history.folder.path(), history.files, history.locker, history.clock, images) {}
  assistant::ChatSessionImageStore images;
  assistant::ChatSessionStore store;
};

void BM_ChatStoreSaveAfterNewMessage(benchmark::State& state) {
  History history;
  Store open(history);
  if (!open.store.load()) state.SkipWithError("load failed");
  // The first save after loading is timed apart: the loaded texts are kept,
  // so it should cost no more than later ones.
  const auto first = std::chrono::steady_clock::now();
  open.store.rename("5E55-1", "Warm");
  state.counters["firstSaveMs"] =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - first).count();
  int n = 0;
  for (auto _ : state) {
    if (!open.store.appendMessage(
            "5E55-7", assistant::internal::chatMessage("bench-" + std::to_string(++n),
                                                       assistant::ChatMessageRole::kUser,
                                                       "One more question about the museums.", kStart))) {
      state.SkipWithError("save failed");
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * history.text.size()));
  state.counters["fileMB"] = static_cast<double>(history.text.size()) / 1e6;
}
BENCHMARK(BM_ChatStoreSaveAfterNewMessage)->Unit(benchmark::kMillisecond)->UseRealTime();

// The floor: the same bytes written to a file and flushed to the disk.
void BM_FloorWriteSameBytesWithFsync(benchmark::State& state) {
  History history;
  const std::string path = history.folder.file("floor");
  for (auto _ : state) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    size_t written = 0;
    while (written < history.text.size()) {
      const ssize_t n = ::write(fd, history.text.data() + written, history.text.size() - written);
      if (n <= 0) break;
      written += static_cast<size_t>(n);
    }
    if (written != history.text.size() || ::fsync(fd) != 0) state.SkipWithError("write failed");
    ::close(fd);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * history.text.size()));
}
BENCHMARK(BM_FloorWriteSameBytesWithFsync)->Unit(benchmark::kMillisecond)->UseRealTime();

// Another process wrote in between: the save re-reads and merges.
void BM_ChatStoreSaveAfterOtherProcessWrote(benchmark::State& state) {
  History history;
  Store mine(history), other(history);
  mine.store.load();
  other.store.load();
  int n = 0;
  for (auto _ : state) {
    state.PauseTiming();
    other.store.rename("5E55-9", "Other " + std::to_string(++n));
    state.ResumeTiming();
    mine.store.rename("5E55-8", "Mine " + std::to_string(n));
  }
}
BENCHMARK(BM_ChatStoreSaveAfterOtherProcessWrote)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ChatStoreLoad(benchmark::State& state) {
  History history;
  for (auto _ : state) {
    auto fresh = std::make_unique<Store>(history);
    if (!fresh->store.load()) state.SkipWithError("load failed");
    benchmark::DoNotOptimize(fresh->store.sessions().size());
    // Freeing the history is no part of loading it.
    state.PauseTiming();
    fresh.reset();
    state.ResumeTiming();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * history.text.size()));
}
BENCHMARK(BM_ChatStoreLoad)->Unit(benchmark::kMillisecond)->UseRealTime();

// The load's floor: the same bytes read, and each looked at once (memchr for
// the quotes every string starts and ends with).
void BM_FloorReadSameBytesAndScan(benchmark::State& state) {
  History history;
  const std::string path = history.folder.file(std::string(assistant::kChatSessionsFileName));
  for (auto _ : state) {
    const std::optional<std::string> text = history.files.readFile(path);
    size_t quotes = 0;
    for (const char* at = text->data();
         (at = static_cast<const char*>(std::memchr(at, '"', text->data() + text->size() - at))); ++at)
      ++quotes;
    benchmark::DoNotOptimize(quotes);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * history.text.size()));
}
BENCHMARK(BM_FloorReadSameBytesAndScan)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
