// A scriptable event tap: creation can fail per location or be held until the
// test releases it; taps run on the monitor's real tap thread, and the test
// delivers events to the running tap and waits for the callback's verdict.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <vector>

#include "editor/event_tap.h"

namespace zephyl::platform::testing {

class FakeEventTapFactory : public editor::EventTapFactory {
 public:
  struct TapRecord {
    editor::TapLocation location;
    bool enabled = false;
    int enableCount = 0;  // times setEnabled(true) was called
    bool running = false;
    bool stopped = false;
    bool everRan = false;
  };

  std::unique_ptr<editor::EventTap> createTap(editor::TapLocation location,
                                              editor::TapCallback callback) override;

  // Creation at `location` returns null from now on (or succeeds again).
  void setCreationFails(editor::TapLocation location, bool fails);
  // createTap blocks, after recording its attempt, until releaseCreation().
  void holdCreation();
  void releaseCreation();

  // Blocks until `count` createTap calls have begun.
  void waitForCreationAttempts(size_t count);
  // Blocks until `count` taps exist and each of them is running or stopped.
  void waitUntilSettled(size_t count);
  // Blocks until a tap is running.
  void waitForRunningTap();
  // Waits until exactly `count` taps are created and not stopped; false when
  // that does not happen within `timeout` (older generations' threads stop
  // their taps on their own schedule).
  bool waitForLiveTaps(size_t count, std::chrono::milliseconds timeout);

  // Hands `event` to the running tap's callback on the tap thread and returns
  // its verdict; nullopt when the tap stopped first. Blocks until a tap runs.
  std::optional<editor::TapVerdict> deliver(const editor::TapEvent& event);

  std::vector<editor::TapLocation> creationAttempts();
  std::vector<TapRecord> taps();
  // Taps running and not yet told to stop (a stopped tap's thread leaves run() on its own schedule).
  size_t runningCount();

 private:
  class Tap;
  struct TapEntry {
    TapRecord record;
    editor::TapCallback callback;
    std::deque<uint64_t> pending;  // delivery ids
  };

  std::mutex mutex_;
  std::condition_variable changed_;
  std::set<editor::TapLocation> failing_;                           // guarded by mutex_
  bool holding_ = false;                                            // guarded by mutex_
  std::vector<editor::TapLocation> attempts_;                       // guarded by mutex_
  std::vector<TapEntry> entries_;                                   // guarded by mutex_
  std::map<uint64_t, editor::TapEvent> deliveries_;                 // guarded by mutex_
  std::map<uint64_t, std::optional<editor::TapVerdict>> verdicts_;  // guarded by mutex_
  uint64_t nextDelivery_ = 0;                                       // guarded by mutex_
};

}  // namespace zephyl::platform::testing
