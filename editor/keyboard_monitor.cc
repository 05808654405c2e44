#include "editor/keyboard_monitor.h"

#include <chrono>
#include <limits>

#include "core/logger.h"
#include "editor/internal/thread_name.h"
#include "editor/keyboard_consume_rules.h"

namespace zephyl::editor {
namespace {

constexpr core::Logger kLog("KeyboardMonitor");

using std::chrono::milliseconds;

constexpr milliseconds kWatchdogInterval{1000};
constexpr milliseconds kWatchdogLeeway{250};

std::string_view disabledReasonName(TapEventType type) {
  return type == TapEventType::kDisabledByTimeout ? "timeout" : "userInput";
}

}  // namespace

std::string_view eventTapRevocationReasonName(EventTapRevocationReason reason) {
  switch (reason) {
    case EventTapRevocationReason::kAccessibilityRevoked:
      return "accessibilityRevoked";
    case EventTapRevocationReason::kExecutableReplaced:
      return "executableReplaced";
  }
  return "unknown";
}

KeyboardMonitor::KeyboardMonitor(KeyboardMonitorDependencies dependencies, KeyHandler onKey,
                                 RevocationHandler onEventTapRevoked, bool wantsEventTap)
    : dependencies_(dependencies),
      onKey_(std::move(onKey)),
      onEventTapRevoked_(std::move(onEventTapRevoked)),
      wantsEventTap_(wantsEventTap) {}

KeyboardMonitor::~KeyboardMonitor() {
  stop();
  std::vector<TapThread> threads;
  std::unique_ptr<RepeatingTimer> retired;
  {
    core::MutexLock lock(lock_);
    threads = std::move(tapThreads_);
    retired = std::move(retiredWatchdog_);
  }
  for (auto& entry : threads) entry.thread.join();
}

bool KeyboardMonitor::isStarted() const {
  core::MutexLock lock(lock_);
  return isStarted_;
}

void KeyboardMonitor::start() {
  std::vector<TapThread> finished;
  std::unique_ptr<RepeatingTimer> oldTimers[2];
  {
    core::MutexLock lock(lock_);
    if (isStarted_) return;
    uint64_t generation;
    {
      core::MutexLock stateLock(tapStateMutex_);
      if (tapState_.executableReplacementReported) {
        kLog.warning()
            << "Keyboard monitor not started: the program file was replaced; restart to restore it";
        return;
      }
      generation = tapState_.generation;
      if (wantsEventTap_) tapState_.starting = true;
    }
    isStarted_ = true;
    launchExecutablePath_ = dependencies_.programFile.launchExecutablePath();
    launchExecutableIdentity_ = dependencies_.programFile.fileIdentity(launchExecutablePath_);
    dependencies_.localMonitor.install([this](const KeyInputEvent& event) { return handleLocalKey(event); });

    // Threads of earlier generations that have ended are joined here, so a long
    // session of start/stop cycles does not pile them up.
    for (auto it = tapThreads_.begin(); it != tapThreads_.end();) {
      if (it->finished->load()) {
        finished.push_back(std::move(*it));
        it = tapThreads_.erase(it);
      } else {
        ++it;
      }
    }
    if (wantsEventTap_) {
      auto done = std::make_shared<std::atomic<bool>>(false);
      tapThreads_.push_back({std::thread([this, generation, done] {
                               runTapThread(generation);
                               done->store(true);
                             }),
                             done});
    }
    oldTimers[0] = std::move(watchdog_);
    oldTimers[1] = std::move(retiredWatchdog_);
    watchdog_ =
        dependencies_.watchdogQueue.scheduleRepeating(kWatchdogInterval, kWatchdogInterval, kWatchdogLeeway,
                                                      [this, generation] { watchdogTick(generation); });
  }
  for (auto& entry : finished) entry.thread.join();
}

void KeyboardMonitor::stop() {
  std::unique_ptr<RepeatingTimer> timer;
  {
    core::MutexLock lock(lock_);
    if (!isStarted_) return;
    timer = stopLocked();
  }
  if (timer) timer->cancel();
  // Destroyed here, outside lock_, so that a tick waiting for lock_ can finish.
  timer.reset();
}

std::unique_ptr<RepeatingTimer> KeyboardMonitor::stopLocked() {
  isStarted_ = false;
  dependencies_.localMonitor.remove();
  std::shared_ptr<EventTap> tap;
  {
    core::MutexLock stateLock(tapStateMutex_);
    ++tapState_.generation;
    tap = std::move(tapState_.tap);
  }
  if (tap) {
    tap->setEnabled(false);
    tap->stop();
  }
  return std::move(watchdog_);
}

void KeyboardMonitor::runTapThread(uint64_t generation) {
  internal::setCurrentThreadName(std::string(kTapThreadName));
  auto callback = [this](const TapEvent& event) { return handleTapEvent(event); };
  std::shared_ptr<EventTap> tap = dependencies_.tapFactory.createTap(TapLocation::kHid, callback);
  if (!tap) tap = dependencies_.tapFactory.createTap(TapLocation::kSession, callback);
  if (!tap) {
    core::MutexLock stateLock(tapStateMutex_);
    if (tapState_.generation == generation) tapState_.starting = false;
    kLog.error() << "Keyboard event tap could not be created; typed keys are not observed";
    return;
  }
  {
    core::MutexLock stateLock(tapStateMutex_);
    if (tapState_.generation != generation || !tapState_.starting) {
      stateLock.unlock();
      tap->stop();
      tap->setEnabled(false);
      kLog.debug() << "Keyboard event tap of generation " << generation << " abandoned";
      return;
    }
    tapState_.tap = tap;
    tapState_.starting = false;
  }
  tap->setEnabled(true);
  bool current;
  {
    core::MutexLock stateLock(tapStateMutex_);
    current = tapState_.generation == generation;
  }
  if (!current) {
    // stop() came in between; it already detached this tap.
    tap->stop();
    tap->setEnabled(false);
    return;
  }
  tap->run();
}

TapVerdict KeyboardMonitor::handleTapEvent(const TapEvent& event) {
  switch (event.type) {
    case TapEventType::kDisabledByTimeout:
    case TapEventType::kDisabledByUserInput: {
      kLog.warning() << "CGEvent tap disabled (" << disabledReasonName(event.type) << "); re-enabling";
      std::shared_ptr<EventTap> tap;
      {
        core::MutexLock stateLock(tapStateMutex_);
        tap = tapState_.tap;
      }
      if (tap) tap->setEnabled(true);
      return TapVerdict::kPass;
    }
    case TapEventType::kOther:
      return TapVerdict::kPass;
    case TapEventType::kKeyDown:
      break;
  }
  if (event.keyCode < 0 || event.keyCode > std::numeric_limits<uint16_t>::max()) return TapVerdict::kPass;

  KeyInputEvent key;
  key.keyCode = static_cast<uint16_t>(event.keyCode);
  key.modifierFlags = event.flags;
  if (event.targetProcessIdentifier >= 1 &&
      event.targetProcessIdentifier <= std::numeric_limits<int32_t>::max()) {
    key.targetProcessIdentifier = static_cast<int32_t>(event.targetProcessIdentifier);
  }
  const KeyboardConsumeSnapshot snapshot = consumeStore_.snapshot();
  if (!shouldForwardKey(key, snapshot)) return TapVerdict::kPass;

  // The only accessibility call inside the tap's time budget: the two shortcuts
  // that open a panel over Notes must not fire while another app holds focus.
  const bool notesScoped =
      (snapshot.commandPaletteShortcut && snapshot.commandPaletteShortcut->matches(key)) ||
      (snapshot.quickOpenShortcut && snapshot.quickOpenShortcut->matches(key));
  if (notesScoped && snapshot.isNotesFrontmost && dependencies_.accessibility.isProcessTrusted()) {
    const auto focused = dependencies_.accessibility.focusedApplicationProcessIdentifier();
    if (focused && *focused >= 1) key.keyboardFocusProcessIdentifier = focused;
  }
  key.characters = event.characters;
  if (!shouldForwardKey(key, snapshot)) return TapVerdict::kPass;
  const bool consume = shouldConsumeKey(key, snapshot);
  dependencies_.mainQueue.post([handler = onKey_, key] { handler(key); });
  return consume ? TapVerdict::kSwallow : TapVerdict::kPass;
}

bool KeyboardMonitor::handleLocalKey(const KeyInputEvent& event) {
  KeyInputEvent key = event;
  key.targetProcessIdentifier.reset();
  key.keyboardFocusProcessIdentifier.reset();
  const KeyboardConsumeSnapshot snapshot = consumeStore_.snapshot();
  if (!shouldForwardKey(key, snapshot)) return false;
  onKey_(key);
  return shouldConsumeKey(key, snapshot);
}

void KeyboardMonitor::watchdogTick(uint64_t generation) {
  std::string path;
  std::optional<FileIdentity> recorded;
  {
    core::MutexLock lock(lock_);
    if (!isStarted_) return;
    path = launchExecutablePath_;
    recorded = launchExecutableIdentity_;
  }
  const bool trusted = dependencies_.accessibility.isProcessTrusted();
  // A failed stat proves nothing: the file counts as unchanged.
  const std::optional<FileIdentity> current = dependencies_.programFile.fileIdentity(path);
  const bool replaced = current && recorded && *current != *recorded;
  if (trusted && !replaced) return;
  revoke(generation, trusted ? EventTapRevocationReason::kExecutableReplaced
                             : EventTapRevocationReason::kAccessibilityRevoked);
}

void KeyboardMonitor::revoke(uint64_t generation, EventTapRevocationReason reason) {
  core::MutexLock lock(lock_);
  {
    core::MutexLock stateLock(tapStateMutex_);
    // Stopped, or stopped and started again, since this tick began.
    if (tapState_.generation != generation || !isStarted_) return;
    if (reason == EventTapRevocationReason::kExecutableReplaced) {
      tapState_.executableReplacementReported = true;
      kLog.error() << "CGEvent tap blocked (executableReplaced)";
    }
  }
  std::unique_ptr<RepeatingTimer> timer = stopLocked();
  kLog.warning() << "CGEvent tap stopped (" << eventTapRevocationReasonName(reason) << ")";
  dependencies_.mainQueue.post([handler = onEventTapRevoked_, reason] { handler(reason); });
  // This runs on the timer's own tick: cancel it now, destroy it later.
  if (timer) timer->cancel();
  retiredWatchdog_ = std::move(timer);
}

}  // namespace zephyl::editor
