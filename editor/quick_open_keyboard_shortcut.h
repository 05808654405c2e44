// One user-assignable keyboard shortcut. Every shortcut setting (Quick Open, the
// command palette, the assistant, the skills launcher) uses this record.
#pragma once

#include <cstdint>
#include <string>

#include "editor/key_input_event.h"

namespace zephyl::editor {

struct QuickOpenKeyboardShortcut {
  uint16_t keyCode = 0;
  uint64_t modifierFlags = 0;
  std::string keyLabel;  // shown in settings and panel hints; not compared

  // Equal when the key codes match and the flags match under kShortcutModifierMask,
  // so Caps Lock, the function key and device bits never break a match.
  friend bool operator==(const QuickOpenKeyboardShortcut& a, const QuickOpenKeyboardShortcut& b) {
    return a.keyCode == b.keyCode &&
           (a.modifierFlags & kShortcutModifierMask) == (b.modifierFlags & kShortcutModifierMask);
  }

  // True when `event` is this shortcut being pressed.
  bool matches(const KeyInputEvent& event) const {
    return *this == QuickOpenKeyboardShortcut{event.keyCode, event.modifierFlags, {}};
  }
};

}  // namespace zephyl::editor
