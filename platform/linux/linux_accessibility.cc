#include "platform/linux/linux_accessibility.h"

#include "core/logger.h"
#include "editor/accessibility_error.h"

namespace zephyl::platform {
namespace {

constexpr core::Logger kLog("Accessibility");

}  // namespace

bool LinuxAccessibility::isProcessTrusted() {
  if (!reported_.exchange(true)) {
    kLog.warning() << "The accessibility interface is unavailable on Linux; Zephyl is not trusted";
  }
  return false;
}

std::optional<std::vector<editor::AccessibilityMenuItem>> LinuxAccessibility::readMenu(
    const std::vector<std::string>&) {
  kLog.warning() << "Cannot read Apple Notes' menus: the accessibility interface is unavailable on Linux";
  throw editor::AccessibilityError(editor::AccessibilityError::Code::kUnavailable);
}

bool LinuxAccessibility::observe(int32_t, FocusHandler) {
  kLog.warning()
      << "Cannot follow the focus in Apple Notes: the accessibility interface is unavailable on Linux";
  return false;
}

}  // namespace zephyl::platform
