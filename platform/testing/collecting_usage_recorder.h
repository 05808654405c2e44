// A usage recorder that keeps every record, for tests that check what was
// recorded and for services under test that need a recorder. Test use only.
#pragma once

#include <mutex>
#include <vector>

#include "ai/usage_recording_ai_stream_provider.h"

namespace zephyl::platform::testing {

class CollectingUsageRecorder : public ai::AIUsageRecorder {
 public:
  void record(const ai::AIUsageRecord& record) override {
    std::lock_guard lock(mutex_);
    records_.push_back(record);
  }

  std::vector<ai::AIUsageRecord> records() const {
    std::lock_guard lock(mutex_);
    return records_;
  }

 private:
  mutable std::mutex mutex_;  // guards records_: the producer thread records
  std::vector<ai::AIUsageRecord> records_;
};

}  // namespace zephyl::platform::testing
