// Where the controller runs its platform actions (posting keys, running
// scripts, pasting): off the main thread so a slow script never freezes the
// interface, one at a time so the note sees them in the order the user caused them.
#pragma once

#include <functional>
#include <memory>

namespace zephyl::editor {

class ActionQueue {
 public:
  virtual ~ActionQueue() = default;

  // Runs `work` after the work posted before it. `work` must not throw. Any thread.
  virtual void post(std::function<void()> work) = 0;
};

// A queue with one background thread. Work already posted runs before it is destroyed.
std::unique_ptr<ActionQueue> makeSerialActionQueue();

// Runs work at once on the caller's thread: for a replay, which has no main
// loop and must print in a fixed order, and for tests.
class ImmediateActionQueue : public ActionQueue {
 public:
  void post(std::function<void()> work) override { work(); }
};

}  // namespace zephyl::editor
