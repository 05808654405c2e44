#include "platform/linux/linux_event_tap_factory.h"

namespace zephyl::platform {

std::unique_ptr<editor::EventTap> LinuxEventTapFactory::createTap(editor::TapLocation, editor::TapCallback) {
  if (!reported_.exchange(true)) {
    log_.warning() << "There is no session-wide keyboard event tap on Linux; "
                      "keys typed into Apple Notes are not observed";
  }
  return nullptr;
}

}  // namespace zephyl::platform
