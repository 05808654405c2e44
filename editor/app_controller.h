// The one long-lived object that turns what happens in Apple Notes (keys typed,
// focus moving, Notes coming to the front or quitting) into actions: Markdown
// triggers applied, the slash-command, Quick Open and command-palette panels
// shown, formatting commands sent, templates pasted, dates typed, notes opened.
// Every operation ends in exactly one status line; a failure replaces the
// success message and nothing is retried.
//
// All of its state lives on the main thread. The keyboard monitor decides on its
// own thread whether a key concerns the controller and hands it over through
// handleKey(); platform actions run in order on the action queue and their
// status comes back through the main queue.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/clock.h"
#include "core/settings_store.h"
#include "editor/accessibility_client.h"
#include "editor/action_queue.h"
#include "editor/app_panels.h"
#include "editor/app_settings.h"
#include "editor/key_input_event.h"
#include "editor/keyboard_consume_snapshot.h"
#include "editor/keyboard_consume_store.h"
#include "editor/keyboard_monitor.h"
#include "editor/main_queue.h"
#include "editor/markdown_trigger_engine.h"
#include "editor/note_template_paster.h"
#include "editor/note_text_editor.h"
#include "editor/notes_accessibility_observer.h"
#include "editor/notes_formatting_service.h"
#include "editor/notes_presence_service.h"
#include "editor/notes_show_script.h"
#include "editor/script_runner.h"
#include "editor/slash_command_session.h"
#include "editor/status_display.h"
#include "editor/uuid_generator.h"
#include "editor/workspace.h"

namespace zephyl::editor {

struct AppControllerDependencies {
  core::SettingsStore& settings;
  core::Clock& clock;
  UuidGenerator& uuids;
  KeyboardConsumeStore& consumeStore;  // the keyboard monitor's
  Workspace& workspace;
  AccessibilityClient& accessibility;
  NotesAccessibilityObserver& notesAccessibility;
  NotesFormattingService& formatting;
  NoteTextEditor& textEditor;
  NoteTemplatePaster& templatePaster;
  ScriptRunner& scripts;
  SlashCommandSession& slashSession;
  AppPanels& panels;
  StatusDisplay& status;
  ActionQueue& actions;
  MainQueue& mainQueue;
};

class AppController {
 public:
  // Every dependency must outlive the controller and the work it posted.
  explicit AppController(AppControllerDependencies dependencies);
  // Stops observing, so no notification reaches a destroyed controller.
  ~AppController() { stop(); }

  AppController(const AppController&) = delete;
  AppController& operator=(const AppController&) = delete;

  // Reads the settings, checks the accessibility permission and starts
  // following the frontmost application. Main thread, as every call below.
  void start();
  void stop();

  // Re-reads the settings (after the user changed one).
  void reloadSettings();

  // A key the keyboard monitor forwarded.
  void handleKey(const KeyInputEvent& event);

  // The presence service's report that the frontmost application changed.
  void handlePresenceChange(const NotesPresenceState& state);

  // The accessibility observer's report that the focus inside Notes moved.
  void handleFocusChange(const NotesAccessibilityContext& context);

  // The interface shell's report that a panel appeared or went away.
  void setPanelVisible(AppPanel panel, bool visible);

  // Re-checks the accessibility permission; shows "Accessibility allowed" when
  // it was just granted. Returns whether the process is trusted.
  bool refreshAccessibilityPermission();

  // The keyboard monitor stopped its tap.
  void handleEventTapRevoked(EventTapRevocationReason reason);

  // Operations the panels and the status item start.
  void openQuickOpen();
  void openCommandPalette();
  void openAssistant(std::string prompt = {});
  void openSkillsLauncher();
  void menuBarIconClicked();
  void openQuickOpenItem(NotesItemKind kind, const std::string& identifier);
  // Runs a palette command on the note in Notes, bringing Notes forward first.
  void runPaletteCommand(NotesFormatCommand command);
  // Runs a row of the slash-command panel (also what Return does).
  void runSlashCommand(SlashCommand command);  // by value: running it ends the query that holds the rows

  // For the interface shell and tests.
  NotesPresenceService& presence() { return presence_; }
  const AppSettings& settings() const { return settings_; }
  const KeyboardConsumeSnapshot& snapshot() const { return snapshot_; }
  bool isSlashQueryActive() const { return slash_.has_value(); }
  // The text typed after the slash; empty when no query is active.
  std::string slashQuery() const;
  const std::vector<SlashCommand>& slashRows() const;
  size_t slashSelection() const { return slash_ ? slash_->selected : 0; }

 private:
  struct SlashQuery {
    std::u32string query;  // counted in characters, as the caret counts them
    std::vector<SlashCommand> rows;
    size_t selected = 0;
  };

  void handleTypedKey(const KeyInputEvent& event);
  bool handleSlashNavigationKey(const KeyInputEvent& event);
  void handleSlashTyping(const KeyInputEvent& event);
  void beginSlashQuery();
  void refreshSlashRows();
  void endSlashQuery(bool showClosedStatus);
  void applyTrigger(const TriggerEvent& trigger);
  bool isKeyboardFocusInNotes(const KeyInputEvent& event) const;
  void publishSnapshot();
  // Forgets the focus inside Notes (and the line typed there); publishes.
  void loseNotesFocus();
  // Observes Notes' focus and reads where it is now; publishes.
  void attachToNotes();
  void show(std::string_view message);
  // Runs `work` on the action queue; the message it returns is shown on the main thread.
  void perform(std::function<std::string()> work);

  AppControllerDependencies deps_;
  NotesPresenceService presence_;
  MarkdownTriggerEngine triggerEngine_;
  AppSettings settings_;
  KeyboardConsumeSnapshot snapshot_;  // the controller's copy; published to deps_.consumeStore
  std::optional<SlashQuery> slash_;
  std::optional<bool> accessibilityTrusted_;
};

}  // namespace zephyl::editor
