// The session-wide keyboard event tap, as a platform interface. The keyboard
// monitor creates one tap per start on its own tap thread; the tap delivers
// every event to a callback on that thread, and the callback's verdict decides
// whether the event goes on to its application or is swallowed.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace zephyl::editor {

enum class TapEventType {
  kKeyDown,
  kDisabledByTimeout,    // the system switched the tap off: the callback was too slow
  kDisabledByUserInput,  // the system switched the tap off on the user's behalf
  kOther,
};

// One event as the tap reports it. Raw integer fields keep the platform's
// ranges so that the monitor, not the platform, decides what is out of range.
struct TapEvent {
  TapEventType type = TapEventType::kKeyDown;
  uint64_t flags = 0;
  int64_t keyCode = 0;
  int64_t targetProcessIdentifier = 0;  // below 1: none
  std::string characters;               // the key's text (UTF-8)
};

enum class TapVerdict { kPass, kSwallow };

// Where the tap sits: before the window server routes events (HID) or after (session).
enum class TapLocation { kHid, kSession };

using TapCallback = std::function<TapVerdict(const TapEvent&)>;

// One created tap. setEnabled and stop may be called from any thread.
class EventTap {
 public:
  virtual ~EventTap() = default;

  virtual void setEnabled(bool enabled) = 0;

  // Runs the tap on the calling thread, delivering events to the callback,
  // until stop() is called. A stop() that came first makes run() return at once.
  virtual void run() = 0;

  // Ends run(); also detaches the tap from its run loop. Idempotent.
  virtual void stop() = 0;
};

class EventTapFactory {
 public:
  virtual ~EventTapFactory() = default;

  // A new, still disabled tap for key-down events at `location`, delivering to
  // `callback`; null when the system refuses to create one. Called on the tap thread.
  virtual std::unique_ptr<EventTap> createTap(TapLocation location, TapCallback callback) = 0;
};

}  // namespace zephyl::editor
