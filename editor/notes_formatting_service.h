// Applies formatting commands to the note being edited in Apple Notes, and
// reads which commands are in effect at the caret. Notes has no programming
// interface for formatting, so the service drives Notes' own user interface:
// it posts Notes' keyboard shortcut, clicks the menu item through a System
// Events script, or reads the menu's check marks through accessibility.
#pragma once

#include <set>
#include <string_view>

#include "editor/internal/serial_executor.h"
#include "editor/notes_format_command.h"
#include "editor/notes_menu_reader.h"
#include "editor/script_runner.h"
#include "editor/shortcut_poster.h"

namespace zephyl::editor {

inline constexpr std::string_view kMenuClickTaskLabel = "click Notes formatting menu";

class NotesFormattingService {
 public:
  // The collaborators must outlive the service.
  NotesFormattingService(ShortcutPoster& poster, ScriptRunner& scripts, NotesMenuReader& reader);

  // Applies `command`: Notes' shortcut for the six commands that have one,
  // a menu click for the others. Throws NotesFormattingError, ScriptError when
  // scripting itself fails, core::CancellationError. Nothing is retried. Any thread.
  void apply(NotesFormatCommand command);

  // Posts Notes' shortcut for `command`. Throws NotesFormattingError
  // (shortcutPostFailed, also for a command without a shortcut).
  void postShortcut(NotesFormatCommand command);

  // Clicks `command`'s menu item through System Events. Throws as apply does.
  void clickMenuItem(NotesFormatCommand command);

  // The commands whose menu items show a check mark. Reads run one at a time on
  // the service's own executor; the caller blocks until its read is done.
  // Throws AccessibilityError (readFailed when the reader fails unexpectedly), or
  // NotesFormattingError when the Format menu is missing.
  std::set<NotesFormatCommand> readActiveCommands();

 private:
  std::set<NotesFormatCommand> readActiveCommandsOnExecutor();

  ShortcutPoster& poster_;
  ScriptRunner& scripts_;
  NotesMenuReader& reader_;  // used only on activeCommandsReaderExecutor_
  internal::SerialExecutor
      activeCommandsReaderExecutor_;  // last: its thread ends before the members above go
};

}  // namespace zephyl::editor
