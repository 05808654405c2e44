// AIUsageStore: the local per-day record of AI requests and the tokens services
// reported for them, kept in "ai-usage.json" for the usage heat map and the
// per-model totals. Nothing leaves the machine.
//
// One store object is the serial owner of the file in a process: a mutex
// serialises every operation. Between processes an advisory lock on
// "ai-usage.json.lock" guards each read-merge-write, so two Zephyl processes
// recording at once keep both records. Each write replaces the file atomically,
// so a crash at any point loses at most the record being written.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ai/ai_usage_archive.h"
#include "ai/ai_usage_snapshot.h"
#include "ai/usage_recording_ai_stream_provider.h"
#include "core/clock.h"
#include "core/file_lock.h"
#include "core/file_system.h"
#include "core/notification_center.h"

namespace zephyl::ai {

class AIUsageStore : public AIUsageRecorder {
 public:
  static constexpr std::string_view kFileName = "ai-usage.json";
  // Posted on the notification centre after every change, with no object.
  static constexpr std::string_view kDidChangeNotification = "AIUsageDidChange";

  // Loads `fileURL` (or starts a new archive when it is missing or cannot be
  // decoded). Days are counted in the Gregorian calendar of `timeZoneID`, the
  // process's time zone when empty. Every collaborator must outlive the store.
  AIUsageStore(std::string fileURL, core::FileSystem& files, core::FileLocker& locker, core::Clock& clock,
               core::NotificationCenter& notifications, std::string timeZoneID = {});

  // Adds one request, dated now, merged into what the file holds under the
  // lock, writes the file and posts the notification. A write that fails is
  // logged; the record stays in memory and is written with the next one. Any thread.
  void record(const AIUsageRecord& record) override;

  // The buckets as the file holds them now (this process's unwritten records
  // included). Any thread.
  AIUsageSnapshot snapshot();

  // The archive that `text` holds, or nullopt when it is not one.
  static std::optional<AIUsageArchive> decode(std::string_view text);

  // The calendar day of `time` in `timeZoneID` (empty: the process's), "yyyy-MM-dd".
  static std::string calendarDay(core::TimePoint time, const std::string& timeZoneID);

 private:
  struct PendingRecord {
    AIUsageRecord record;
    std::string day;
  };

  // Brings archive_ up to the file when another process changed it.
  void reloadIfChanged();

  const std::string fileURL_;
  core::FileSystem& files_;
  core::FileLocker& locker_;
  core::Clock& clock_;
  core::NotificationCenter& notifications_;
  const std::string timeZoneID_;

  std::mutex mutex_;
  AIUsageArchive archive_;               // guarded by mutex_: the file's archive plus pending_
  std::vector<PendingRecord> pending_;   // guarded by mutex_: recorded but not yet written
  std::optional<std::string> fileText_;  // guarded by mutex_: the text archive_ was read from or written as
};

}  // namespace zephyl::ai
