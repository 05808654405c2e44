// Test helper: a separate process that records into a usage file, so tests can
// kill it at random moments or run several at once.
//
//   zephyl_ai_usage_writer record FILE COUNT PREFIX  records COUNT requests (-1: until killed),
//                                                     response ids PREFIX-0, PREFIX-1, ...
//   zephyl_ai_usage_writer check FILE                 prints the requests and seen ids the file
//                                                     holds; exit 1 when it exists but does not decode
#include <cstdio>
#include <cstdlib>
#include <string>

#include "ai/ai_usage_store.h"
#include "platform/linux/flock_file_locker.h"
#include "platform/linux/posix_file_system.h"
#include "platform/linux/system_clock.h"

using namespace zephyl;

int main(int argc, char** argv) {
  const std::string mode = argc > 2 ? argv[1] : "";
  platform::PosixFileSystem files;
  if (mode == "check") {
    const auto text = files.readFile(argv[2]);
    if (!text) {
      std::printf("0 0\n");
      return 0;
    }
    const auto archive = ai::AIUsageStore::decode(*text);
    if (!archive) return 1;
    long requests = 0;
    for (const auto& bucket : archive->buckets) requests += bucket.requests;
    std::printf("%ld %zu\n", requests, archive->seenResponseIDs.size());
    return 0;
  }
  if (mode != "record" || argc != 5) {
    std::fprintf(stderr, "usage: %s record FILE COUNT PREFIX | check FILE\n", argv[0]);
    return 2;
  }
  platform::FlockFileLocker locker;
  platform::SystemClock clock;
  core::NotificationCenter notifications;
  ai::AIUsageStore store(argv[2], files, locker, clock, notifications);
  const long count = std::strtol(argv[3], nullptr, 10);
  for (long i = 0; count < 0 || i < count; ++i) {
    ai::AIUsageRecord record;
    record.provider = ai::AIProvider::kOpenAIAPI;
    record.model = "gpt-test";
    record.reports.push_back(
        {ai::AIReportedUsage{3, 1, 2, 0, 5}, std::string(argv[4]) + "-" + std::to_string(i)});
    store.record(record);
  }
  return 0;
}
