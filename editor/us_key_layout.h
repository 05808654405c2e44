// Typed text as the key presses a US keyboard makes for it, for replaying
// recorded or piped input through the same path as real keys.
#pragma once

#include <string_view>
#include <vector>

#include "editor/key_input_event.h"

namespace zephyl::editor {

class UsKeyLayout {
 public:
  // The key code given to a character that no key of the layout types.
  static constexpr uint16_t kNoKeyCode = 0xFFFF;

  // One key press per character of `text` (UTF-8; invalid bytes become U+FFFD):
  // a line feed or carriage return is Return, the byte 0x7f is Delete, and a
  // character typed with Shift carries the Shift flag.
  static std::vector<KeyInputEvent> keyPresses(std::string_view text);

  // The key press for one character.
  static KeyInputEvent keyPress(char32_t character);
};

}  // namespace zephyl::editor
