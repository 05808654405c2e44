#include "platform/linux/linux_pasteboard.h"

namespace zephyl::platform {

std::vector<editor::PasteboardItem> LinuxPasteboard::contents() {
  log_.warning() << "The macOS pasteboard is unavailable on Linux; cannot read it";
  throw editor::PasteboardError(editor::PasteboardError::Code::kUnavailable);
}

void LinuxPasteboard::setContents(const std::vector<editor::PasteboardItem>&) {
  log_.warning() << "The macOS pasteboard is unavailable on Linux; cannot write it";
  throw editor::PasteboardError(editor::PasteboardError::Code::kUnavailable);
}

}  // namespace zephyl::platform
