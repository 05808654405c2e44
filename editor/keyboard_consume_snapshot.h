// The controller's view of the world that the keyboard monitor's tap thread
// decides by: which shortcuts exist, whether Apple Notes is in front and focused,
// and which of the system's panels are showing.
#pragma once

#include <cstdint>
#include <optional>

#include "editor/quick_open_keyboard_shortcut.h"

namespace zephyl::editor {

struct KeyboardConsumeSnapshot {
  std::optional<QuickOpenKeyboardShortcut> commandPaletteShortcut;
  std::optional<QuickOpenKeyboardShortcut> quickOpenShortcut;
  std::optional<QuickOpenKeyboardShortcut> globalQuickOpenShortcut;
  std::optional<QuickOpenKeyboardShortcut> assistantShortcut;
  std::optional<QuickOpenKeyboardShortcut> globalSkillsLauncherShortcut;
  bool isNotesFrontmost = false;
  std::optional<int32_t> notesProcessIdentifier;
  bool isNotesTextAreaFocusedCached = false;  // as last read through accessibility
  bool slashQueryActive = false;
  bool inlineAIShowing = false;
  bool inlineToolbarShowing = false;
  bool inlineToolbarPromptFocused = false;
  bool skillsLauncherShowing = false;
  bool commandPalettePresented = false;
};

}  // namespace zephyl::editor
