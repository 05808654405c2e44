// Linux cannot type into Apple Notes: deleting and typing always fail, and say
// so once in the log.
#pragma once

#include <atomic>

#include "editor/note_text_editor.h"

namespace zephyl::platform {

class LinuxNoteTextEditor : public editor::NoteTextEditor {
 public:
  // Both false; the first call logs why.
  bool deleteBackward(int count) override;
  bool typeText(const std::string& text) override;

 private:
  bool unavailable();

  std::atomic<bool> reported_{false};
};

}  // namespace zephyl::platform
