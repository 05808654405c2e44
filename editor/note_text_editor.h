// Edits the focused note at the caret with synthetic key presses, as a person
// typing would: delete the characters before the caret, type text.
#pragma once

#include <string>

namespace zephyl::editor {

class NoteTextEditor {
 public:
  virtual ~NoteTextEditor() = default;

  // Deletes `count` characters before the caret. False when the key events
  // cannot be posted. Any thread.
  virtual bool deleteBackward(int count) = 0;

  // Types `text` (UTF-8) at the caret. False when the key events cannot be posted.
  virtual bool typeText(const std::string& text) = 0;
};

}  // namespace zephyl::editor
