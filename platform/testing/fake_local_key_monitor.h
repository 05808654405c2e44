// The in-process key monitor, driven by the test: type() hands a key to the
// installed handler as a window of the system would.
#pragma once

#include <optional>

#include "editor/local_key_monitor.h"

namespace zephyl::platform::testing {

class FakeLocalKeyMonitor : public editor::LocalKeyMonitor {
 public:
  void install(editor::LocalKeyHandler handler) override { handler_ = std::move(handler); }
  void remove() override { handler_ = nullptr; }

  bool installed() const { return static_cast<bool>(handler_); }
  // The handler's answer (consumed), or nullopt when nothing is installed.
  std::optional<bool> type(const editor::KeyInputEvent& event) {
    if (!handler_) return std::nullopt;
    return handler_(event);
  }

 private:
  editor::LocalKeyHandler handler_;
};

}  // namespace zephyl::platform::testing
