// Watches every key-down in the user's session through an event tap, decides on
// the tap thread whether a key concerns the system (forward rule) and whether the
// system must own it (consume rule), and hands forwarded keys to the controller
// on the main queue. A second path does the same for keys of the system's own
// windows. A watchdog re-checks, once a second, the accessibility permission and
// the identity of the program file, and stops the tap cleanly when either is gone.
//
// States: stopped → starting (tap thread creating the tap) → running → stopped.
// Every stop increments a generation number; a tap thread whose generation is no
// longer current abandons its tap, so quick start/stop cycles leave one tap.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "core/mutex.h"
#include "editor/accessibility_client.h"
#include "editor/event_tap.h"
#include "editor/key_input_event.h"
#include "editor/keyboard_consume_store.h"
#include "editor/local_key_monitor.h"
#include "editor/main_queue.h"
#include "editor/program_file_inspector.h"
#include "editor/timer_scheduler.h"

namespace zephyl::editor {

enum class EventTapRevocationReason { kAccessibilityRevoked, kExecutableReplaced };

// "accessibilityRevoked" or "executableReplaced", as logged.
std::string_view eventTapRevocationReasonName(EventTapRevocationReason reason);

inline constexpr std::string_view kTapThreadName = "com.zephyl.KeyboardMonitor.tap";

struct KeyboardMonitorDependencies {
  EventTapFactory& tapFactory;
  AccessibilityClient& accessibility;
  ProgramFileInspector& programFile;
  TimerScheduler& watchdogQueue;  // the watchdog's ticks run on its context
  MainQueue& mainQueue;
  LocalKeyMonitor& localMonitor;
};

class KeyboardMonitor {
 public:
  using KeyHandler = std::function<void(const KeyInputEvent&)>;
  using RevocationHandler = std::function<void(EventTapRevocationReason)>;

  // `onKey` and `onEventTapRevoked` are called on the main queue. The
  // dependencies must outlive the monitor. Without `wantsEventTap` only the
  // local monitor and the watchdog run.
  KeyboardMonitor(KeyboardMonitorDependencies dependencies, KeyHandler onKey,
                  RevocationHandler onEventTapRevoked, bool wantsEventTap = true);
  // Stops and waits for the tap threads to end.
  ~KeyboardMonitor();

  KeyboardMonitor(const KeyboardMonitor&) = delete;
  KeyboardMonitor& operator=(const KeyboardMonitor&) = delete;

  // Records the program file's identity, installs the local monitor, starts the
  // tap thread and the watchdog. No-op while started; refused (and logged) once
  // the program file was found replaced, until the application restarts. Main thread.
  void start();

  // Cancels the watchdog, increments the generation, disables and detaches the
  // tap and ends its run loop. Does not wait for the tap thread. Main thread.
  void stop();

  bool isStarted() const;

  // The snapshot the rules read; the controller replaces it on the main thread.
  KeyboardConsumeStore& consumeStore() { return consumeStore_; }

  // The local monitor's path: `event` with both process ids dropped goes through
  // the forward rule; a forwarded key is handed to onKey at once. Returns true
  // when the key is consumed. Main thread.
  bool handleLocalKey(const KeyInputEvent& event);

 private:
  struct TapState {
    uint64_t generation = 0;
    bool starting = false;
    bool executableReplacementReported = false;
    std::shared_ptr<EventTap> tap;  // the tap thread holds its own reference while it runs
  };

  struct TapThread {
    std::thread thread;
    std::shared_ptr<std::atomic<bool>> finished;
  };

  void runTapThread(uint64_t generation);
  TapVerdict handleTapEvent(const TapEvent& event);
  void watchdogTick(uint64_t generation);
  void revoke(uint64_t generation, EventTapRevocationReason reason);
  // Requires lock_. Returns the watchdog timer for the caller to cancel and to
  // destroy outside lock_ (destroying waits for a running tick, which takes lock_).
  std::unique_ptr<RepeatingTimer> stopLocked() ZEPHYL_REQUIRES(lock_);

  KeyboardMonitorDependencies dependencies_;
  const KeyHandler onKey_;
  const RevocationHandler onEventTapRevoked_;
  const bool wantsEventTap_;
  KeyboardConsumeStore consumeStore_;  // has its own lock

  // Lock order: lock_ before tapStateMutex_. The tap thread takes only tapStateMutex_.
  mutable core::Mutex lock_;
  bool isStarted_ ZEPHYL_GUARDED_BY(lock_) = false;
  std::string launchExecutablePath_ ZEPHYL_GUARDED_BY(lock_);
  std::optional<FileIdentity> launchExecutableIdentity_ ZEPHYL_GUARDED_BY(lock_);
  std::unique_ptr<RepeatingTimer> watchdog_ ZEPHYL_GUARDED_BY(lock_);
  std::unique_ptr<RepeatingTimer> retiredWatchdog_ ZEPHYL_GUARDED_BY(lock_);  // cancelled from its own tick
  std::vector<TapThread> tapThreads_ ZEPHYL_GUARDED_BY(lock_);

  core::Mutex tapStateMutex_;
  TapState tapState_ ZEPHYL_GUARDED_BY(tapStateMutex_);
};

}  // namespace zephyl::editor
