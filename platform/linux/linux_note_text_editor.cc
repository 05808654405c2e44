#include "platform/linux/linux_note_text_editor.h"

#include "core/logger.h"

namespace zephyl::platform {
namespace {

constexpr core::Logger kLog("AppController");

}  // namespace

bool LinuxNoteTextEditor::deleteBackward(int) { return unavailable(); }

bool LinuxNoteTextEditor::typeText(const std::string&) { return unavailable(); }

bool LinuxNoteTextEditor::unavailable() {
  if (!reported_.exchange(true)) {
    kLog.warning()
        << "Typing into Apple Notes is unavailable on Linux: there are no synthetic keyboard events";
  }
  return false;
}

}  // namespace zephyl::platform
