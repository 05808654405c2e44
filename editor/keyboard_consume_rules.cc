#include "editor/keyboard_consume_rules.h"

namespace zephyl::editor {
namespace {

bool matches(const std::optional<QuickOpenKeyboardShortcut>& shortcut, const KeyInputEvent& event) {
  return shortcut && shortcut->matches(event);
}

bool isGlobalShortcut(const KeyInputEvent& event, const KeyboardConsumeSnapshot& snapshot) {
  return matches(snapshot.globalQuickOpenShortcut, event) || matches(snapshot.assistantShortcut, event) ||
         matches(snapshot.globalSkillsLauncherShortcut, event);
}

bool isNotesScopedShortcut(const KeyInputEvent& event, const KeyboardConsumeSnapshot& snapshot) {
  return matches(snapshot.commandPaletteShortcut, event) || matches(snapshot.quickOpenShortcut, event);
}

bool differsFromNotes(const std::optional<int32_t>& processIdentifier,
                      const KeyboardConsumeSnapshot& snapshot) {
  return processIdentifier && snapshot.notesProcessIdentifier &&
         *processIdentifier != *snapshot.notesProcessIdentifier;
}

// The key is addressed to, or focused in, a process that is known not to be Notes.
bool addressedElsewhere(const KeyInputEvent& event, const KeyboardConsumeSnapshot& snapshot) {
  return differsFromNotes(event.keyboardFocusProcessIdentifier, snapshot) ||
         differsFromNotes(event.targetProcessIdentifier, snapshot);
}

}  // namespace

bool shouldForwardKey(const KeyInputEvent& event, const KeyboardConsumeSnapshot& snapshot) {
  const bool escape = event.keyCode == kEscapeKeyCode;
  if (isGlobalShortcut(event, snapshot)) return true;
  if (escape && (snapshot.inlineAIShowing || snapshot.skillsLauncherShowing)) return true;
  if (snapshot.inlineToolbarPromptFocused) return escape;
  if (snapshot.commandPalettePresented || !snapshot.isNotesFrontmost) return false;
  if (addressedElsewhere(event, snapshot)) return false;
  if (isNotesScopedShortcut(event, snapshot)) return true;
  if (!escape) return !hasCommandModifier(event.modifierFlags);
  return snapshot.inlineToolbarShowing || !hasCommandModifier(event.modifierFlags);
}

bool shouldConsumeKey(const KeyInputEvent& event, const KeyboardConsumeSnapshot& snapshot) {
  const bool escape = event.keyCode == kEscapeKeyCode;
  if (isGlobalShortcut(event, snapshot)) return true;
  if (escape) {
    if (snapshot.inlineAIShowing) return true;
    if (snapshot.skillsLauncherShowing || snapshot.inlineToolbarPromptFocused) return true;
    if (snapshot.commandPalettePresented) return false;
  } else if (snapshot.inlineToolbarPromptFocused || snapshot.commandPalettePresented) {
    return false;
  }
  if (!snapshot.isNotesFrontmost) return false;
  if (addressedElsewhere(event, snapshot)) return false;
  if (isNotesScopedShortcut(event, snapshot)) return true;
  if (escape && snapshot.inlineToolbarShowing) return true;
  if (!snapshot.slashQueryActive) return false;
  if (escape) return snapshot.isNotesTextAreaFocusedCached;
  switch (event.keyCode) {
    case kReturnKeyCode:
    case kKeypadEnterKeyCode:
    case kDownArrowKeyCode:
    case kUpArrowKeyCode:
      return snapshot.isNotesTextAreaFocusedCached;
    default:
      return false;
  }
}

}  // namespace zephyl::editor
