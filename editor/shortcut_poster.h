// Posts a keyboard shortcut to the frontmost application as synthetic key
// events: key-down then key-up, both carrying the shortcut's modifier flags.
#pragma once

#include "editor/notes_format_command.h"

namespace zephyl::editor {

class ShortcutPoster {
 public:
  virtual ~ShortcutPoster() = default;

  // Returns false when the key events cannot be created (nothing was posted).
  // Any thread.
  virtual bool post(const PostedShortcut& shortcut) = 0;
};

}  // namespace zephyl::editor
