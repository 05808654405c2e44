#include "platform/linux/linux_pasteboard.h"

#include "core/logger.h"

namespace zephyl::platform {
namespace {

constexpr core::Logger kLog("Pasteboard");

}  // namespace

std::vector<editor::PasteboardItem> LinuxPasteboard::contents() {
  kLog.warning() << "The macOS pasteboard is unavailable on Linux; cannot read it";
  throw editor::PasteboardError(editor::PasteboardError::Code::kUnavailable);
}

void LinuxPasteboard::setContents(const std::vector<editor::PasteboardItem>&) {
  kLog.warning() << "The macOS pasteboard is unavailable on Linux; cannot write it";
  throw editor::PasteboardError(editor::PasteboardError::Code::kUnavailable);
}

}  // namespace zephyl::platform
