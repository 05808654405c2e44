#include "platform/linux/linux_shortcut_poster.h"

namespace zephyl::platform {

bool LinuxShortcutPoster::post(const editor::PostedShortcut&) {
  if (!reported_.exchange(true)) {
    log_.warning() << "Posting keyboard events to Apple Notes is unavailable on Linux";
  }
  return false;
}

}  // namespace zephyl::platform
