#include "platform/linux/linux_event_tap_factory.h"

#include "core/logger.h"

namespace zephyl::platform {
namespace {

constexpr core::Logger kLog("KeyboardMonitor");

}  // namespace

std::unique_ptr<editor::EventTap> LinuxEventTapFactory::createTap(editor::TapLocation, editor::TapCallback) {
  if (!reported_.exchange(true)) {
    kLog.warning() << "There is no session-wide keyboard event tap on Linux; "
                      "keys typed into Apple Notes are not observed";
  }
  return nullptr;
}

}  // namespace zephyl::platform
