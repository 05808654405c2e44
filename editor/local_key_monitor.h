// The in-process key monitor: keys that reach the system's own windows, which a
// session-wide event tap in front of Apple Notes does not cover.
#pragma once

#include <functional>

#include "editor/key_input_event.h"

namespace zephyl::editor {

// Returns true when the key is consumed and must not reach the window.
using LocalKeyHandler = std::function<bool(const KeyInputEvent&)>;

class LocalKeyMonitor {
 public:
  virtual ~LocalKeyMonitor() = default;

  // Starts delivering the keys of the system's own windows to `handler`, on the
  // main thread, with both process ids absent. Replaces an earlier handler.
  virtual void install(LocalKeyHandler handler) = 0;

  // Stops delivering; no-op when nothing is installed.
  virtual void remove() = 0;
};

}  // namespace zephyl::editor
