// The main thread's queue: the keyboard monitor never touches controller state
// from its own threads, it posts work here.
#pragma once

#include <functional>

namespace zephyl::editor {

class MainQueue {
 public:
  virtual ~MainQueue() = default;

  // Runs `work` later on the main thread, in posting order. Any thread.
  virtual void post(std::function<void()> work) = 0;
};

}  // namespace zephyl::editor
