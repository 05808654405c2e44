// A stand-in for the whole desktop that the application controller talks to:
// it records every status line and every platform action in the order they
// happen, and lets a caller play the user's side (an application coming to the
// front, the focus moving in Notes, the permission being granted). `zephyl
// debug replay` runs the real controller against it, so the controller can be
// checked without a Mac; the controller's tests use it the same way.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "core/json_value.h"
#include "core/mutex.h"
#include "editor/accessibility_client.h"
#include "editor/app_panels.h"
#include "editor/note_text_editor.h"
#include "editor/notes_accessibility_observer.h"
#include "editor/notes_menu_reader.h"
#include "editor/pasteboard.h"
#include "editor/script_runner.h"
#include "editor/shortcut_poster.h"
#include "editor/status_display.h"
#include "editor/workspace.h"

namespace zephyl::platform {

class RecordingPlatform : public editor::ShortcutPoster,
                          public editor::ScriptRunner,
                          public editor::NoteTextEditor,
                          public editor::Pasteboard,
                          public editor::StatusDisplay,
                          public editor::AppPanels,
                          public editor::Workspace,
                          public editor::NotesAccessibilityObserver,
                          public editor::AccessibilityClient,
                          public editor::NotesMenuReader {
 public:
  // One recorded line: {"status": …}, {"action": …, …} or {"panel": …, …}.
  using Entry = core::JSONValue;

  // Everything recorded so far, in order.
  std::vector<Entry> entries() const { return entriesSince(0); }
  // What was recorded after the first `count` entries.
  std::vector<Entry> entriesSince(size_t count) const;
  // The status lines only, in order.
  std::vector<std::string> statuses() const;
  // Forgets what was recorded.
  void clear();

  // --- The user's side ---
  // `application` comes to the front; activation observers hear of it.
  void activate(const editor::RunningApplication& application);
  // The application with `processIdentifier` quits; termination observers hear of it.
  void terminate(int32_t processIdentifier);
  // The focus inside Notes moved to a place described by `context`; the focus
  // observer hears of it when Notes is being observed. Until the first call,
  // Notes has its note body focused.
  void moveFocus(const editor::NotesAccessibilityContext& context);
  void setTrusted(bool trusted);
  // Makes every later platform action of this kind fail ("deleteBackward",
  // "typeText", "postShortcut", "runScript", "paste", "activateApplication").
  void setFailing(const std::string& action, bool failing);

  // --- The platform's side, as the controller sees it ---
  bool post(const editor::PostedShortcut& shortcut) override;
  void run(const std::string& source, const std::string& taskLabel) override;
  bool deleteBackward(int count) override;
  bool typeText(const std::string& text) override;
  std::vector<editor::PasteboardItem> contents() override;
  void setContents(const std::vector<editor::PasteboardItem>& items) override;
  void showStatus(std::string_view message) override;

  void showSlashPanel(const std::vector<editor::SlashCommand>& rows, size_t selectedIndex) override;
  void hideSlashPanel() override;
  void showQuickOpen() override;
  void showCommandPalette() override;
  void showAssistant(const editor::AssistantHandOff& handOff) override;
  void showSkillsLauncher() override;
  void showStatusMenu() override;
  void close(editor::AppPanel panel) override;

  std::optional<editor::RunningApplication> frontmostApplication() override;
  ObserverToken addActivationObserver(ActivationHandler handler) override;
  ObserverToken addTerminationObserver(TerminationHandler handler) override;
  void removeObserver(ObserverToken token) override;
  bool activateApplication(std::string_view bundleIdentifier) override;

  bool observe(int32_t notesProcessIdentifier, FocusHandler onFocusChanged) override;
  void stopObserving() override;
  std::optional<editor::NotesAccessibilityContext> readContext() override;

  bool isProcessTrusted() override;
  std::optional<int32_t> focusedApplicationProcessIdentifier() override;

  // Notes' Format menu with nothing checked.
  std::optional<std::vector<editor::AccessibilityMenuItem>> readMenu(
      const std::vector<std::string>& menuTitles) override;

 private:
  void record(Entry entry);
  bool failing(const std::string& action) const;
  bool notesInFrontLocked() const ZEPHYL_REQUIRES(mutex_);

  mutable core::Mutex mutex_;
  std::vector<Entry> entries_ ZEPHYL_GUARDED_BY(mutex_);
  std::map<std::string, bool> failing_ ZEPHYL_GUARDED_BY(mutex_);
  std::optional<editor::RunningApplication> frontmost_ ZEPHYL_GUARDED_BY(mutex_);
  editor::NotesAccessibilityContext context_ ZEPHYL_GUARDED_BY(mutex_){"AXTextArea", "", true, {},
                                                                       {},           {}, {}};
  std::vector<editor::PasteboardItem> pasteboard_ ZEPHYL_GUARDED_BY(mutex_);
  std::map<ObserverToken, ActivationHandler> activationObservers_ ZEPHYL_GUARDED_BY(mutex_);
  std::map<ObserverToken, TerminationHandler> terminationObservers_ ZEPHYL_GUARDED_BY(mutex_);
  ObserverToken nextToken_ ZEPHYL_GUARDED_BY(mutex_) = 1;
  std::optional<FocusHandler> focusHandler_ ZEPHYL_GUARDED_BY(mutex_);
  bool trusted_ ZEPHYL_GUARDED_BY(mutex_) = true;
};

}  // namespace zephyl::platform
