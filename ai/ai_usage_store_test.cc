#include "ai/ai_usage_store.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <array>
#include <fstream>
#include <random>
#include <thread>

#include "platform/linux/flock_file_locker.h"
#include "platform/linux/posix_file_system.h"
#include "platform/testing/fake_clock.h"
#include "platform/testing/in_memory_file_system.h"
#include "platform/testing/test_folder.h"

extern char** environ;

namespace zephyl::ai {
namespace {

using namespace std::chrono_literals;
using platform::testing::FakeClock;
using platform::testing::InMemoryFileSystem;
using platform::testing::TestFolder;

AIUsageRecord recordOf(std::vector<AIUsageReport> reports,
                       std::optional<ReasoningEffort> effort = std::nullopt,
                       std::chrono::steady_clock::duration duration = 0s) {
  return AIUsageRecord{AIProvider::kOpenAIAPI, "gpt-6-sol", AIUsageRequestKind::kChat, effort,
                       std::move(reports),     duration};
}

AIUsageReport report(int64_t input, int64_t output, std::optional<std::string> id) {
  return {AIReportedUsage{input, std::nullopt, output, std::nullopt, input + output}, std::move(id)};
}

TEST(AIUsageArchive, AddsRequestsToBucketsCountingEachResponseOnce) {
  struct Case {
    const char* name;
    // Buckets, then of the first: requests, those with usage, reported tokens, longest milliseconds.
    std::array<int64_t, 5> counts;
    std::vector<AIUsageRecord> records;
  };
  const Case cases[] = {
      {"repeated response id adds no tokens",
       {1, 2, 1, 15, 0},
       {recordOf({report(10, 5, "r1")}), recordOf({report(10, 5, "r1")})}},
      {"two reports of one request both count",
       {1, 1, 1, 6, 0},
       {recordOf({report(1, 1, "a"), report(2, 2, "b")})}},
      {"usage without an id always counts",
       {1, 2, 2, 4, 0},
       {recordOf({report(1, 1, {})}), recordOf({report(1, 1, {})})}},
      {"no usage is a request only", {1, 1, 0, 0, 0}, {recordOf({})}},
      {"efforts split buckets",
       {2, 1, 1, 2, 0},
       {recordOf({report(1, 1, "x")}, ReasoningEffort::kLow),
        recordOf({report(1, 1, "y")}, ReasoningEffort::kHigh)}},
      {"longest duration in whole milliseconds, never negative",
       {1, 3, 0, 0, 1500},
       {recordOf({}, {}, 1500999us), recordOf({}, {}, 20ms), recordOf({}, {}, -5s)}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    AIUsageArchive archive;
    for (const auto& record : c.records) addUsageRecord(archive, record, "2026-11-14");
    ASSERT_FALSE(archive.buckets.empty());
    const AIUsageBucket& first = archive.buckets[0];
    EXPECT_EQ((std::array<int64_t, 5>{static_cast<int64_t>(archive.buckets.size()), first.requests,
                                      first.requestsWithReportedUsage, first.reportedTokens,
                                      first.longestDurationMilliseconds}),
              c.counts);
    // The round trip through JSON keeps everything; the direct writer writes
    // the document's bytes.
    EXPECT_EQ(AIUsageArchive::fromJSON(core::JSONValue::parse(archive.serialized())), archive);
    EXPECT_EQ(archive.serialized(), archive.toJSON().serialized());
  }
}

TEST(AIUsageArchive, KeepsTheNewestTwoThousandResponseIds) {
  AIUsageArchive archive;
  for (int i = 0; i < 2001; ++i)
    addUsageRecord(archive, recordOf({report(1, 0, std::to_string(i))}), "2026-11-14");
  ASSERT_EQ(archive.seenResponseIDs.size(), 2000u);
  EXPECT_EQ(archive.seenResponseIDs.front(), "1");
  EXPECT_EQ(archive.seenResponseIDs.back(), "2000");
  // The forgotten id counts again; a remembered one does not.
  addUsageRecord(archive, recordOf({report(1, 0, "0"), report(1, 0, "1999")}), "2026-11-14");
  EXPECT_EQ(archive.buckets[0].inputTokens, 2002);
  EXPECT_EQ(archive.buckets[0].identity(), "2026-11-14|openAIAPI|gpt-6-sol|chat|");
}

TEST(AIUsageStore, DaysFollowTheLocalCalendar) {
  const struct {
    const char *utc, *zone, *day;
  } cases[] = {
      {"2026-11-14T05:05:00Z", "America/New_York", "2026-11-14"},  // 00:05 local: the new day
      {"2026-11-14T04:55:00Z", "America/New_York", "2026-11-13"},
      {"2026-11-13T23:30:00Z", "Asia/Tokyo", "2026-11-14"},
      {"2026-07-01T22:10:00Z", "Europe/Berlin", "2026-07-02"},  // summer time
      {"2026-12-31T23:59:59Z", "UTC", "2026-12-31"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(AIUsageStore::calendarDay(*core::parseIso8601(c.utc), c.zone), c.day) << c.utc << " " << c.zone;
}

class NoFileLocker : public core::FileLocker {
 public:
  std::unique_ptr<core::FileLockGuard> lockExclusive(const std::string&) override {
    ++locks;
    return std::make_unique<core::FileLockGuard>();
  }
  int locks = 0;
};

TEST(AIUsageStore, SurvivesMissingAndCorruptFilesAndKeepsUnwrittenRecords) {
  InMemoryFileSystem files;
  NoFileLocker locker;
  FakeClock clock(*core::parseIso8601("2026-11-14T09:30:00Z"));
  core::NotificationCenter notifications;
  const std::string path = "/data/ai-usage.json";
  files.addFile(path, "{\"schemaVersion\": 1, \"buckets\": [");
  AIUsageStore store(path, files, locker, clock, notifications, "UTC");
  EXPECT_TRUE(store.snapshot().buckets.empty());
  EXPECT_EQ(store.snapshot().trackingBeganAt, clock.now());

  std::vector<std::string> seenInObserver;
  notifications.addObserver("AIUsageDidChange",
                            [&] { seenInObserver.push_back(files.contents(path).value_or("")); });
  files.setFailWrites(true);
  store.record(recordOf({report(1, 1, "a")}));
  EXPECT_EQ(store.snapshot().buckets.at(0).requests, 1);  // kept in memory
  files.setFailWrites(false);
  store.record(recordOf({report(1, 1, "b")}));
  EXPECT_EQ(locker.locks, 2);

  // Both records reached the file, and the second notification came after it was written.
  const auto reloaded = AIUsageStore::decode(*files.contents(path));
  ASSERT_TRUE(reloaded);
  EXPECT_EQ(reloaded->buckets.at(0).requests, 2);
  EXPECT_EQ(reloaded->trackingBeganAt, clock.now());
  ASSERT_EQ(seenInObserver.size(), 2u);
  EXPECT_EQ(seenInObserver[1], *files.contents(path));
}

// The store's file in a fresh folder, locked as the application locks it.
class AIUsageStoreOnDisk : public ::testing::Test {
 protected:
  AIUsageStore open() { return AIUsageStore(path_, files_, locker_, clock_, notifications_, "UTC"); }

  // Requests and seen ids in the file; fails the test when the file does not decode.
  std::pair<int64_t, size_t> loadCounts() {
    const auto text = files_.readFile(path_);
    if (!text) return {0, 0};
    const auto archive = AIUsageStore::decode(*text);
    EXPECT_TRUE(archive) << "undecodable file after a kill";
    if (!archive) return {-1, 0};
    int64_t requests = 0;
    for (const auto& bucket : archive->buckets) requests += bucket.requests;
    return {requests, archive->seenResponseIDs.size()};
  }

  TestFolder folder_;
  platform::PosixFileSystem files_;
  platform::FlockFileLocker locker_;
  FakeClock clock_{*core::parseIso8601("2026-11-14T09:30:00Z")};
  core::NotificationCenter notifications_;
  const std::string path_ = folder_.file("ai-usage.json");
};

TEST_F(AIUsageStoreOnDisk, TwoStoresOnOneFileMergeEachOthersRecords) {
  AIUsageStore first = open();
  AIUsageStore second = open();
  first.record(recordOf({report(1, 1, "shared")}));
  second.record(recordOf({report(1, 1, "shared")}));  // the same response, seen by the other store
  clock_.advance(24h);
  second.record(recordOf({report(2, 2, "own")}));
  first.record(recordOf({}, ReasoningEffort::kHigh));

  const auto snapshot = open().snapshot();
  EXPECT_EQ(snapshot.days, (std::vector<AIUsageDayTotal>{{"2026-11-14", 2, 2}, {"2026-11-15", 4, 2}}));
  EXPECT_EQ(snapshot.models,
            (std::vector<AIUsageModelSummary>{{AIProvider::kOpenAIAPI, "gpt-6-sol", 4, 2, 6, 3, 0, 3, 0}}));
  EXPECT_EQ(snapshot.buckets.size(), 3u);
  EXPECT_EQ(first.snapshot().buckets, snapshot.buckets);
}

// The helper process of these tests, built beside them.
pid_t spawnWriter(const std::vector<std::string>& arguments) {
  std::vector<std::string> all = {ZEPHYL_USAGE_WRITER};
  all.insert(all.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (auto& argument : all) argv.push_back(argument.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  if (posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0) return -1;
  return pid;
}

int waitFor(pid_t pid) {
  int status = 0;
  waitpid(pid, &status, 0);
  return status;
}

TEST_F(AIUsageStoreOnDisk, AWriterKilledAtAnyMomentLeavesALoadableFileAndTheNextStoreSweepsItsTemporaryFile) {
  std::mt19937 random(17);
  int64_t previous = 0;
  pid_t pid = 0;
  for (int trial = 0; trial < 50; ++trial) {
    pid = spawnWriter({"record", path_, "-1", "trial" + std::to_string(trial)});
    ASSERT_GT(pid, 0);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 20000));
    kill(pid, SIGKILL);
    waitFor(pid);
    const auto [requests, ids] = loadCounts();
    ASSERT_GE(requests, previous) << "a written record was lost in trial " << trial;
    previous = requests;
  }
  // The last writer as if killed between writing its temporary file and renaming it.
  // Which temporary files count as stale is the file system's rule, tested there.
  const std::string stale = path_ + ".tmp-" + std::to_string(pid) + "-0";
  std::ofstream(stale) << "{";
  ASSERT_TRUE(files_.fileExists(stale));
  open();
  EXPECT_FALSE(files_.fileExists(stale));
}

TEST_F(AIUsageStoreOnDisk, ParallelProcessesKeepEveryRecord) {
  constexpr int kProcesses = 4;
  constexpr int kRecords = 40;
  std::vector<pid_t> writers;
  for (int i = 0; i < kProcesses; ++i) {
    writers.push_back(spawnWriter({"record", path_, std::to_string(kRecords), "p" + std::to_string(i)}));
  }
  for (pid_t pid : writers) {
    const int status = waitFor(pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  EXPECT_EQ(loadCounts(), (std::pair<int64_t, size_t>{kProcesses * kRecords, kProcesses * kRecords}));
}

}  // namespace
}  // namespace zephyl::ai
