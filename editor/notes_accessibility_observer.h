// Follows the keyboard focus inside Apple Notes through accessibility, and reads
// the Notes context the controller acts on: the focused element, whether it is
// the note body, the selection and the line at the caret.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace zephyl::editor {

inline constexpr std::string_view kTextAreaRole = "AXTextArea";

struct NotesAccessibilityContext {
  std::string focusedRole;                    // "AXTextArea", "AXTextField", ...; empty when unknown
  std::string focusedSubrole;                 // empty when the element has none
  bool isEditorFocused = false;               // the focused element is the note body
  std::optional<std::string> selectedText;    // nullopt or empty: nothing selected
  std::optional<std::string> currentLine;     // the line at the caret
  std::optional<std::string> noteIdentifier;  // "x-coredata://…" of the open note, when known
  std::optional<std::string> noteTitle;

  friend bool operator==(const NotesAccessibilityContext&, const NotesAccessibilityContext&) = default;
};

class NotesAccessibilityObserver {
 public:
  using FocusHandler = std::function<void(const NotesAccessibilityContext&)>;

  virtual ~NotesAccessibilityObserver() = default;

  // Observes focus changes (AXFocusedUIElementChanged) in the Notes process
  // `notesProcessIdentifier`; `onFocusChanged` runs on the main thread with the
  // context read after each change. Replaces an earlier observation. Returns
  // false when the process cannot be observed.
  virtual bool observe(int32_t notesProcessIdentifier, FocusHandler onFocusChanged) = 0;

  // Stops observing; no-op when nothing is observed.
  virtual void stopObserving() = 0;

  // Reads the context now; nullopt when Notes cannot be read.
  virtual std::optional<NotesAccessibilityContext> readContext() = 0;
};

}  // namespace zephyl::editor
