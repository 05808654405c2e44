// Linux has no accessibility interface to Apple Notes: the process is never
// trusted, no focused application can be read, menus cannot be read and focus
// inside Notes cannot be followed.
#pragma once

#include <atomic>

#include "editor/accessibility_client.h"
#include "editor/notes_accessibility_observer.h"
#include "editor/notes_menu_reader.h"

namespace zephyl::platform {

class LinuxAccessibility : public editor::AccessibilityClient,
                           public editor::NotesMenuReader,
                           public editor::NotesAccessibilityObserver {
 public:
  // False; the first call logs why.
  bool isProcessTrusted() override;
  std::optional<int32_t> focusedApplicationProcessIdentifier() override { return std::nullopt; }

  // Throws editor::AccessibilityError (unavailable).
  std::optional<std::vector<editor::AccessibilityMenuItem>> readMenu(
      const std::vector<std::string>& menuTitles) override;

  // False: there is no Notes process to observe (logged).
  bool observe(int32_t notesProcessIdentifier, FocusHandler onFocusChanged) override;
  void stopObserving() override {}
  std::optional<editor::NotesAccessibilityContext> readContext() override { return std::nullopt; }

 private:
  std::atomic<bool> reported_{false};
};

}  // namespace zephyl::platform
