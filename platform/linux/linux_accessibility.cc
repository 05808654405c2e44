#include "platform/linux/linux_accessibility.h"

#include "editor/accessibility_error.h"

namespace zephyl::platform {

bool LinuxAccessibility::isProcessTrusted() {
  if (!reported_.exchange(true)) {
    log_.warning() << "The accessibility interface is unavailable on Linux; Zephyl is not trusted";
  }
  return false;
}

std::optional<std::vector<editor::AccessibilityMenuItem>> LinuxAccessibility::readMenu(
    const std::vector<std::string>&) {
  log_.warning() << "Cannot read Apple Notes' menus: the accessibility interface is unavailable on Linux";
  throw editor::AccessibilityError(editor::AccessibilityError::Code::kUnavailable);
}

bool LinuxAccessibility::observe(int32_t, FocusHandler) {
  log_.warning()
      << "Cannot follow the focus in Apple Notes: the accessibility interface is unavailable on Linux";
  return false;
}

}  // namespace zephyl::platform
