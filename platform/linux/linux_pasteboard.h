// Linux has no general pasteboard that Apple Notes reads: every call fails
// with PasteboardError (unavailable), and the log says why.
#pragma once

#include "editor/pasteboard.h"

namespace zephyl::platform {

class LinuxPasteboard : public editor::Pasteboard {
 public:
  // Each throws editor::PasteboardError (unavailable).
  std::vector<editor::PasteboardItem> contents() override;
  void setContents(const std::vector<editor::PasteboardItem>& items) override;
};

}  // namespace zephyl::platform
