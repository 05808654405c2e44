// Composing one assistant turn with eight mentioned notes of 100 KB and a
// 50-message history (goal: under 5 ms), and recording one request into a
// usage store of several years (2,000 seen ids, 10,000 buckets) beside the
// floor: writing the same bytes atomically with the same fsync.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "ai/ai_usage_store.h"
#include "assistant/assistant_turn.h"
#include "platform/linux/flock_file_locker.h"
#include "platform/linux/posix_file_system.h"
#include "platform/linux/system_clock.h"

namespace {

using namespace zephyl;

std::string noteText(size_t bytes, int seed) {
  std::string text;
  while (text.size() < bytes) {
    text += "Paragraph " + std::to_string(seed) + " of the note, with crème brûlée and `code`.\n";
  }
  text.resize(bytes);
  return text;
}

void BM_ComposeTurnWithEightLargeMentions(benchmark::State& state) {
  assistant::AssistantTurnParts parts;
  parts.request = "Compare these notes and list what changed.";
  assistant::AINoteContext current;
  current.appName = "Notes";
  current.isAppleNotesActive = true;
  current.noteText = noteText(20'000, 0);
  current.noteTitle = "Current";
  parts.currentNote = current;
  for (int i = 0; i < 8; ++i) {
    parts.references.push_back({assistant::ChatTurnInput::ReferenceKind::kNote, "Note " + std::to_string(i),
                                "iCloud › Work", noteText(100'000, i)});
  }
  for (int i = 0; i < 50; ++i) {
    assistant::ChatMessage message;
    message.role = i % 2 == 0 ? assistant::ChatMessageRole::kUser : assistant::ChatMessageRole::kAssistant;
    message.text = noteText(2'000, i);
    if (i % 2 == 0) {
      assistant::ChatTurnInput turn;
      turn.request = message.text;
      message.turnInput = turn;
    }
    parts.history.push_back(std::move(message));
  }
  const std::chrono::year_month_day today = std::chrono::year(2026) / 11 / 14;
  for (auto _ : state) {
    auto turn = assistant::composeAssistantTurn(parts, today, "en_US", {});
    benchmark::DoNotOptimize(turn.userText.data());
  }
}
BENCHMARK(BM_ComposeTurnWithEightLargeMentions)->Unit(benchmark::kMillisecond);

// A store file of several years of heavy use in a fresh folder.
struct LargeUsageFile {
  LargeUsageFile() {
    folder = std::filesystem::temp_directory_path() / ("zephyl-usage-bench-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder);
    ai::AIUsageArchive archive;
    archive.trackingBeganAt = *core::parseIso8601("2020-01-01T00:00:00Z");
    for (int i = 0; i < 10'000; ++i) {
      ai::AIUsageBucket bucket;
      const auto day = std::chrono::year_month_day(std::chrono::sys_days(std::chrono::year(2020) / 1 / 1) +
                                                   std::chrono::days(i / 5));
      char text[16];
      std::snprintf(text, sizeof text, "%04d-%02u-%02u", static_cast<int>(day.year()),
                    static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()));
      bucket.day = text;
      bucket.provider = ai::AIProvider::kOpenAIAPI;
      bucket.model = "openai:gpt-6-sol-" + std::to_string(i % 5);
      bucket.kind = ai::AIUsageRequestKind::kChat;
      bucket.reportedTokens = 12'345;
      bucket.requests = 7;
      archive.buckets.push_back(bucket);
    }
    for (int i = 0; i < 2'000; ++i) archive.seenResponseIDs.push_back("resp_" + std::to_string(i));
    path = (folder / "ai-usage.json").string();
    files.writeFileAtomically(path, archive.toJSON().serialized());
  }
  ~LargeUsageFile() { std::filesystem::remove_all(folder); }

  std::filesystem::path folder;
  std::string path;
  platform::PosixFileSystem files;
};

void BM_UsageRecordIntoLargeStore(benchmark::State& state) {
  LargeUsageFile file;
  platform::FlockFileLocker locker;
  platform::SystemClock clock;
  core::NotificationCenter notifications;
  ai::AIUsageStore store(file.path, file.files, locker, clock, notifications, "UTC");
  int64_t i = 0;
  for (auto _ : state) {
    ai::AIUsageRecord record{ai::AIProvider::kOpenAIAPI,
                             "openai:gpt-6-sol-1",
                             ai::AIUsageRequestKind::kChat,
                             std::nullopt,
                             {{ai::AIReportedUsage{10, 0, 5, 0, 15}, "new_" + std::to_string(i++)}},
                             {}};
    store.record(record);
  }
}
BENCHMARK(BM_UsageRecordIntoLargeStore)->Unit(benchmark::kMillisecond);

// The floor: the same bytes written the same way (temporary file, fsync, rename).
void BM_UsageFloorAtomicWriteOfSameBytes(benchmark::State& state) {
  LargeUsageFile file;
  const std::string bytes = *file.files.readFile(file.path);
  for (auto _ : state) file.files.writeFileAtomically(file.path, bytes);
}
BENCHMARK(BM_UsageFloorAtomicWriteOfSameBytes)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
