// Linux has no accessibility interface to Apple Notes: the process is never
// trusted, no focused application can be read, and menus cannot be read.
#pragma once

#include <atomic>

#include "core/logger.h"
#include "editor/accessibility_client.h"
#include "editor/notes_menu_reader.h"

namespace zephyl::platform {

class LinuxAccessibility : public editor::AccessibilityClient, public editor::NotesMenuReader {
 public:
  // False; the first call logs why.
  bool isProcessTrusted() override;
  std::optional<int32_t> focusedApplicationProcessIdentifier() override { return std::nullopt; }

  // Throws editor::AccessibilityError (unavailable).
  std::optional<std::vector<editor::AccessibilityMenuItem>> readMenu(
      const std::vector<std::string>& menuTitles) override;

 private:
  std::atomic<bool> reported_{false};
  const core::Logger log_{"Accessibility"};
};

}  // namespace zephyl::platform
