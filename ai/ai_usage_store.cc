#include "ai/ai_usage_store.h"

#include <unicode/timezone.h>

#include <memory>

#include "core/logger.h"

namespace zephyl::ai {
namespace {

constexpr core::Logger kLog("AIUsageStore");

}  // namespace

AIUsageStore::AIUsageStore(std::string fileURL, core::FileSystem& files, core::FileLocker& locker,
                           core::Clock& clock, core::NotificationCenter& notifications,
                           std::string timeZoneID)
    : fileURL_(std::move(fileURL)),
      files_(files),
      locker_(locker),
      clock_(clock),
      notifications_(notifications),
      timeZoneID_(std::move(timeZoneID)) {
  archive_.trackingBeganAt = clock_.now();
  // Writers killed between writing and renaming leave their temporary files.
  try {
    const size_t slash = fileURL_.rfind('/');
    files_.removeStaleTemporaryFiles(slash == std::string::npos ? "." : fileURL_.substr(0, slash));
  } catch (const core::Error& error) {
    kLog.error() << "Stale usage files not removed: " << error.description();
  }
  std::lock_guard lock(mutex_);
  reloadIfChanged();
}

std::optional<AIUsageArchive> AIUsageStore::decode(std::string_view text) {
  try {
    return AIUsageArchive::fromJSON(core::JSONValue::parse(text));
  } catch (const core::JSONValueError& error) {
    kLog.error() << "Usage archive not decoded: " << error.what();
    return std::nullopt;
  }
}

std::string AIUsageStore::calendarDay(core::TimePoint time, const std::string& timeZoneID) {
  std::unique_ptr<icu::TimeZone> zone(
      timeZoneID.empty() ? icu::TimeZone::createDefault()
                         : icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(timeZoneID)));
  const auto millis = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
  int32_t rawOffset = 0;
  int32_t dstOffset = 0;
  UErrorCode status = U_ZERO_ERROR;
  zone->getOffset(static_cast<UDate>(millis), false, rawOffset, dstOffset, status);
  if (U_FAILURE(status)) rawOffset = dstOffset = 0;
  const auto local = time + std::chrono::milliseconds(int64_t{rawOffset} + dstOffset);
  const std::chrono::year_month_day date{std::chrono::floor<std::chrono::days>(local)};
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "%04d-%02u-%02u", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
  return buffer;
}

void AIUsageStore::reloadIfChanged() {
  std::optional<std::string> text;
  try {
    text = files_.readFile(fileURL_);
  } catch (const core::Error& error) {
    kLog.error() << "Usage file not read: " << error.description();
    return;
  }
  // Our own last write, or nothing to read: what is in memory is current.
  if (!text || text == fileText_) return;
  auto archive = decode(*text);
  if (!archive) return;  // a corrupt file is replaced by the next write
  for (const auto& pending : pending_) addUsageRecord(*archive, pending.record, pending.day);
  archive_ = std::move(*archive);
  fileText_ = std::move(text);
}

void AIUsageStore::record(const AIUsageRecord& record) {
  const std::string day = calendarDay(clock_.now(), timeZoneID_);
  {
    std::lock_guard lock(mutex_);
    std::unique_ptr<core::FileLockGuard> hold;
    try {
      hold = locker_.lockExclusive(fileURL_ + ".lock");
    } catch (const core::Error& error) {
      // Better a record that another process might overwrite than none.
      kLog.error() << "Usage file not locked: " << error.description();
    }
    reloadIfChanged();
    addUsageRecord(archive_, record, day);
    pending_.push_back({record, day});
    std::string text = archive_.serialized();
    try {
      files_.writeFileAtomically(fileURL_, text);
      fileText_ = std::move(text);
      pending_.clear();
    } catch (const core::Error& error) {
      kLog.error() << "Usage file not written, keeping " << pending_.size()
                   << " records in memory: " << error.description();
    }
  }
  notifications_.post(std::string(kDidChangeNotification));
}

AIUsageSnapshot AIUsageStore::snapshot() {
  std::lock_guard lock(mutex_);
  // Without the file lock: every write replaces the whole file, so a read sees
  // one complete version.
  reloadIfChanged();
  return makeUsageSnapshot(archive_);
}

}  // namespace zephyl::ai
