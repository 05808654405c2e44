#include "editor/us_key_layout.h"

#include <string>

#include "core/utf8.h"

namespace zephyl::editor {
namespace {

struct KeyOfCharacter {
  uint16_t keyCode;
  bool shift;
};

using namespace std::string_view_literals;

// Indexed by the ANSI layout's virtual key codes; NUL marks keys that type no
// character (10: the ISO-only key, 36: Return, 48: Tab). The literals hold
// NULs, hence "sv".
constexpr std::u32string_view kUnshifted = U"asdfhgzxcv\0bqweryt123465=97-80]ou[ip\0lj'k;\\,/nm.\0 `"sv;
constexpr std::u32string_view kShifted = U"ASDFHGZXCV\0BQWERYT!@#$^%+(&_*)}OU{IP\0LJ\"K:|<?NM>\0\0~"sv;

std::optional<KeyOfCharacter> keyOf(char32_t character) {
  if (character == 0) return std::nullopt;
  if (auto index = kUnshifted.find(character); index != std::u32string_view::npos) {
    return KeyOfCharacter{static_cast<uint16_t>(index), false};
  }
  if (auto index = kShifted.find(character); index != std::u32string_view::npos) {
    return KeyOfCharacter{static_cast<uint16_t>(index), true};
  }
  if (character == U'\t') return KeyOfCharacter{48, false};
  return std::nullopt;
}

}  // namespace

KeyInputEvent UsKeyLayout::keyPress(char32_t character) {
  KeyInputEvent event;
  if (character == U'\n' || character == U'\r') {
    event.keyCode = kReturnKeyCode;
    event.characters = "\r";
    return event;
  }
  if (character == 0x7F) {
    event.keyCode = kDeleteKeyCode;
    event.characters = "\x7f";
    return event;
  }
  event.characters = core::encodeUtf8(std::u32string(1, character));
  if (auto key = keyOf(character)) {
    event.keyCode = key->keyCode;
    if (key->shift) event.modifierFlags = kShiftModifier;
  } else {
    event.keyCode = kNoKeyCode;
  }
  return event;
}

std::vector<KeyInputEvent> UsKeyLayout::keyPresses(std::string_view text) {
  std::vector<KeyInputEvent> events;
  for (char32_t character : core::decodeUtf8(text)) events.push_back(keyPress(character));
  return events;
}

}  // namespace zephyl::editor
