#include "platform/testing/fake_event_tap_factory.h"

namespace zephyl::platform::testing {

class FakeEventTapFactory::Tap : public editor::EventTap {
 public:
  Tap(FakeEventTapFactory& factory, size_t index) : factory_(factory), index_(index) {}

  void setEnabled(bool enabled) override {
    std::lock_guard lock(factory_.mutex_);
    auto& record = factory_.entries_[index_].record;
    record.enabled = enabled;
    if (enabled) ++record.enableCount;
    factory_.changed_.notify_all();
  }

  void run() override {
    std::unique_lock lock(factory_.mutex_);
    auto entry = [this]() -> TapEntry& { return factory_.entries_[index_]; };
    if (!entry().record.stopped) {
      entry().record.running = true;
      entry().record.everRan = true;
      factory_.changed_.notify_all();
    }
    for (;;) {
      factory_.changed_.wait(lock, [&] { return entry().record.stopped || !entry().pending.empty(); });
      if (entry().record.stopped) break;
      const uint64_t id = entry().pending.front();
      entry().pending.pop_front();
      const editor::TapEvent event = factory_.deliveries_[id];
      const editor::TapCallback callback = entry().callback;
      lock.unlock();
      const editor::TapVerdict verdict = callback(event);
      lock.lock();
      factory_.verdicts_[id] = verdict;
      factory_.changed_.notify_all();
    }
    // Deliveries the tap never handled end without a verdict.
    for (uint64_t id : entry().pending) factory_.verdicts_[id] = std::nullopt;
    entry().pending.clear();
    entry().record.running = false;
    factory_.changed_.notify_all();
  }

  void stop() override {
    std::lock_guard lock(factory_.mutex_);
    factory_.entries_[index_].record.stopped = true;
    factory_.changed_.notify_all();
  }

 private:
  FakeEventTapFactory& factory_;
  size_t index_;
};

std::unique_ptr<editor::EventTap> FakeEventTapFactory::createTap(editor::TapLocation location,
                                                                 editor::TapCallback callback) {
  std::unique_lock lock(mutex_);
  attempts_.push_back(location);
  changed_.notify_all();
  changed_.wait(lock, [this] { return !holding_; });
  if (failing_.contains(location)) return nullptr;
  entries_.push_back(TapEntry{TapRecord{location}, std::move(callback), {}});
  changed_.notify_all();
  return std::make_unique<Tap>(*this, entries_.size() - 1);
}

void FakeEventTapFactory::setCreationFails(editor::TapLocation location, bool fails) {
  std::lock_guard lock(mutex_);
  if (fails) {
    failing_.insert(location);
  } else {
    failing_.erase(location);
  }
}

void FakeEventTapFactory::holdCreation() {
  std::lock_guard lock(mutex_);
  holding_ = true;
}

void FakeEventTapFactory::releaseCreation() {
  std::lock_guard lock(mutex_);
  holding_ = false;
  changed_.notify_all();
}

void FakeEventTapFactory::waitForCreationAttempts(size_t count) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return attempts_.size() >= count; });
}

void FakeEventTapFactory::waitUntilSettled(size_t count) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] {
    if (entries_.size() < count) return false;
    for (const auto& entry : entries_) {
      if (!entry.record.running && !entry.record.stopped) return false;
    }
    return true;
  });
}

bool FakeEventTapFactory::waitForLiveTaps(size_t count, std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, timeout, [&] {
    size_t live = 0;
    for (const auto& entry : entries_) live += entry.record.stopped ? 0 : 1;
    return live == count;
  });
}

void FakeEventTapFactory::waitForRunningTap() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] {
    for (const auto& entry : entries_) {
      if (entry.record.running && !entry.record.stopped) return true;
    }
    return false;
  });
}

std::optional<editor::TapVerdict> FakeEventTapFactory::deliver(const editor::TapEvent& event) {
  std::unique_lock lock(mutex_);
  TapEntry* target = nullptr;
  changed_.wait(lock, [&] {
    for (auto& entry : entries_) {
      if (entry.record.running && !entry.record.stopped) {
        target = &entry;
        return true;
      }
    }
    return false;
  });
  const uint64_t id = nextDelivery_++;
  deliveries_[id] = event;
  target->pending.push_back(id);
  changed_.notify_all();
  changed_.wait(lock, [&] { return verdicts_.contains(id); });
  return verdicts_[id];
}

std::vector<editor::TapLocation> FakeEventTapFactory::creationAttempts() {
  std::lock_guard lock(mutex_);
  return attempts_;
}

std::vector<FakeEventTapFactory::TapRecord> FakeEventTapFactory::taps() {
  std::lock_guard lock(mutex_);
  std::vector<TapRecord> records;
  for (const auto& entry : entries_) records.push_back(entry.record);
  return records;
}

size_t FakeEventTapFactory::runningCount() {
  std::lock_guard lock(mutex_);
  size_t count = 0;
  for (const auto& entry : entries_) count += entry.record.running && !entry.record.stopped ? 1 : 0;
  return count;
}

}  // namespace zephyl::platform::testing
