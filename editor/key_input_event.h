// One key press as the keyboard monitor hands it to the controller, with the
// modifier bits and key codes that the keyboard rules name.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace zephyl::editor {

// Event modifier flags; only these four take part in shortcut comparisons.
inline constexpr uint64_t kShiftModifier = 0x20000;
inline constexpr uint64_t kControlModifier = 0x40000;
inline constexpr uint64_t kOptionModifier = 0x80000;
inline constexpr uint64_t kCommandModifier = 0x100000;
// Shift, Control, Option and Command: what a shortcut comparison looks at.
inline constexpr uint64_t kShortcutModifierMask = 0x1E0000;
// Control, Option and Command: Shift alone never makes a key a command.
inline constexpr uint64_t kCommandModifierMask = 0x1C0000;

// Virtual key codes of the keys the rules name.
inline constexpr uint16_t kReturnKeyCode = 36;
inline constexpr uint16_t kKeypadEnterKeyCode = 76;
inline constexpr uint16_t kDeleteKeyCode = 51;
inline constexpr uint16_t kEscapeKeyCode = 53;
inline constexpr uint16_t kDownArrowKeyCode = 125;
inline constexpr uint16_t kUpArrowKeyCode = 126;
inline constexpr uint16_t kRightArrowKeyCode = 124;

// True when Control, Option or Command is held.
constexpr bool hasCommandModifier(uint64_t modifierFlags) {
  return (modifierFlags & kCommandModifierMask) != 0;
}

struct KeyInputEvent {
  std::string characters;  // the key's text as the event reports it (UTF-8)
  uint16_t keyCode = 0;
  uint64_t modifierFlags = 0;  // the event's full flags, unmasked
  std::optional<int32_t> targetProcessIdentifier;
  std::optional<int32_t> keyboardFocusProcessIdentifier;

  bool operator==(const KeyInputEvent&) const = default;
};

}  // namespace zephyl::editor
