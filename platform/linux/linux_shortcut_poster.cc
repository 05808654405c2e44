#include "platform/linux/linux_shortcut_poster.h"

#include "core/logger.h"

namespace zephyl::platform {
namespace {

constexpr core::Logger kLog("NotesFormattingService");

}  // namespace

bool LinuxShortcutPoster::post(const editor::PostedShortcut&) {
  if (!reported_.exchange(true)) {
    kLog.warning() << "Posting keyboard events to Apple Notes is unavailable on Linux";
  }
  return false;
}

}  // namespace zephyl::platform
