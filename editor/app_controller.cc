#include "editor/app_controller.h"

#include <utility>

#include "core/error.h"
#include "core/logger.h"
#include "core/utf8.h"
#include "editor/app_status_messages.h"

namespace zephyl::editor {
namespace {

constexpr core::Logger kLog("AppController");

bool matches(const std::optional<QuickOpenKeyboardShortcut>& shortcut, const KeyInputEvent& event) {
  return shortcut && shortcut->matches(event);
}

bool isReturn(uint16_t keyCode) { return keyCode == kReturnKeyCode || keyCode == kKeypadEnterKeyCode; }

// Arrow, function and navigation keys report characters in the private-use
// range U+F700–U+F8FF; they move the caret rather than type.
bool movesCaret(std::u32string_view characters) {
  for (char32_t c : characters) {
    if (c >= 0xF700 && c <= 0xF8FF) return true;
  }
  return false;
}

std::string_view insertFailureMessage(SlashCommandKind kind) {
  switch (kind) {
    case SlashCommandKind::kInsertDate:
      return status::kCouldNotInsertDate;
    case SlashCommandKind::kInsertTime:
      return status::kCouldNotInsertTime;
    default:
      return status::kCouldNotInsertDateAndTime;
  }
}

// The status of opening the assistant with `context`.
std::string assistantOpenedMessage(const std::optional<NotesAccessibilityContext>& context) {
  if (context && context->selectedText && !context->selectedText->empty()) {
    return std::string(status::kAssistantOpenedWithNoteContextAndPrefix) + "selection";
  }
  if (context && (context->noteIdentifier || context->currentLine)) {
    return std::string(status::kAssistantOpenedWithNoteContext);
  }
  return std::string(status::kAssistantOpenedWithoutNoteText);
}

// Removes what the user typed for a command; nothing to remove always succeeds.
bool removeTyped(NoteTextEditor& editor, int count) { return count == 0 || editor.deleteBackward(count); }

// Applies `command` and returns the status that reports it. Runs on the action queue.
std::string applyFormatting(NotesFormattingService& formatting, NotesFormatCommand command) {
  try {
    formatting.apply(command);
    return std::string(status::appliedFormattingMessage(command));
  } catch (const core::CancellationError&) {
    kLog.info() << "Formatting cancelled: " << notesFormatCommandIdentifier(command);
  } catch (const std::exception& error) {
    kLog.warning() << "Could not apply " << notesFormatCommandIdentifier(command) << ": " << error.what();
  }
  return std::string(status::kCouldNotApplyFormatting);
}

}  // namespace

AppController::AppController(AppControllerDependencies dependencies)
    : deps_(dependencies),
      presence_(deps_.workspace, [this](const NotesPresenceState& state) { handlePresenceChange(state); }),
      triggerEngine_(deps_.clock, deps_.uuids) {}

void AppController::start() {
  reloadSettings();
  refreshAccessibilityPermission();
  presence_.start();
}

void AppController::stop() {
  presence_.stop();
  deps_.notesAccessibility.stopObserving();
  if (slash_) endSlashQuery(false);
}

void AppController::reloadSettings() {
  settings_ = AppSettings::read(deps_.settings);
  snapshot_.commandPaletteShortcut = settings_.commandPaletteShortcut;
  snapshot_.quickOpenShortcut = settings_.quickOpenShortcut;
  snapshot_.globalQuickOpenShortcut = settings_.globalQuickOpenShortcut;
  snapshot_.assistantShortcut = settings_.assistantShortcut;
  snapshot_.globalSkillsLauncherShortcut = settings_.globalSkillsLauncherShortcut;
  triggerEngine_.setFullWidthEnabled(settings_.fullWidthMarkdownTriggersEnabled);
  if (!settings_.markdownTriggersEnabled) triggerEngine_.reset();
  if (slash_ && !settings_.slashCommandsEnabled) endSlashQuery(true);
  publishSnapshot();
}

bool AppController::refreshAccessibilityPermission() {
  const bool trusted = deps_.accessibility.isProcessTrusted();
  if (accessibilityTrusted_ == trusted) return trusted;
  const bool grantedLater = trusted && accessibilityTrusted_.has_value();
  accessibilityTrusted_ = trusted;
  if (!trusted) {
    loseNotesFocus();
    show(status::kAccessibilityRequired);
    return trusted;
  }
  // Notes could not be observed without the permission: attach now.
  if (snapshot_.isNotesFrontmost) attachToNotes();
  // Being trusted from the start needs no message; being granted later does.
  if (grantedLater) show(status::kAccessibilityAllowed);
  return trusted;
}

void AppController::loseNotesFocus() {
  if (slash_) endSlashQuery(false);
  triggerEngine_.reset();
  snapshot_.isNotesTextAreaFocusedCached = false;
  publishSnapshot();
}

void AppController::attachToNotes() {
  deps_.notesAccessibility.observe(
      *snapshot_.notesProcessIdentifier,
      [this](const NotesAccessibilityContext& context) { handleFocusChange(context); });
  const auto context = deps_.notesAccessibility.readContext();
  snapshot_.isNotesTextAreaFocusedCached = context && context->isEditorFocused;
  publishSnapshot();
}

void AppController::handleEventTapRevoked(EventTapRevocationReason reason) {
  if (reason == EventTapRevocationReason::kExecutableReplaced) {
    show(status::kReinstalled);
    return;
  }
  accessibilityTrusted_ = false;
  loseNotesFocus();
  show(status::kAccessibilityRequired);
}

void AppController::handlePresenceChange(const NotesPresenceState& state) {
  snapshot_.isNotesFrontmost = state.isNotesFrontmost();
  snapshot_.notesProcessIdentifier = state.notesProcessIdentifier();
  // Whatever was typed before belongs to another line, or another application.
  loseNotesFocus();
  const bool trusted = accessibilityTrusted_.value_or(false);
  if (state.isNotesFrontmost() && trusted) {
    attachToNotes();
  } else {
    deps_.notesAccessibility.stopObserving();
  }
  // Without the permission nothing works, and that is what the user must read.
  if (!trusted) return show(status::kAccessibilityRequired);
  show(state.isNotesFrontmost() ? status::kNotesActive : status::kWaitingForNotes);
}

void AppController::handleFocusChange(const NotesAccessibilityContext& context) {
  const bool wasFocused = snapshot_.isNotesTextAreaFocusedCached;
  snapshot_.isNotesTextAreaFocusedCached = context.isEditorFocused;
  triggerEngine_.reset();
  if (slash_ && !context.isEditorFocused) {
    endSlashQuery(true);
    return;
  }
  publishSnapshot();
  if (!wasFocused && context.isEditorFocused) show(status::kNotesEditorFocused);
}

void AppController::setPanelVisible(AppPanel panel, bool visible) {
  switch (panel) {
    case AppPanel::kQuickOpen:
      return;  // a window of our own: the tap never needs to know
    case AppPanel::kCommandPalette:
      snapshot_.commandPalettePresented = visible;
      break;
    case AppPanel::kInlineAI:
      snapshot_.inlineAIShowing = visible;
      break;
    case AppPanel::kInlineToolbar:
      snapshot_.inlineToolbarShowing = visible;
      if (!visible) snapshot_.inlineToolbarPromptFocused = false;
      break;
    case AppPanel::kInlineToolbarPrompt:
      snapshot_.inlineToolbarPromptFocused = visible;
      break;
    case AppPanel::kSkillsLauncher:
      snapshot_.skillsLauncherShowing = visible;
      break;
  }
  publishSnapshot();
}

void AppController::handleKey(const KeyInputEvent& event) {
  // 1. The global shortcuts, whatever application is in front.
  if (matches(settings_.globalQuickOpenShortcut, event)) return openQuickOpen();
  if (matches(settings_.assistantShortcut, event)) return openAssistant();
  if (matches(settings_.globalSkillsLauncherShortcut, event)) return openSkillsLauncher();

  // 2. Escape closes the inline panels, innermost first.
  if (event.keyCode == kEscapeKeyCode) {
    for (auto [showing, panel] :
         {std::pair{snapshot_.inlineAIShowing, AppPanel::kInlineAI},
          std::pair{snapshot_.skillsLauncherShowing, AppPanel::kSkillsLauncher},
          std::pair{snapshot_.inlineToolbarPromptFocused, AppPanel::kInlineToolbarPrompt},
          std::pair{snapshot_.inlineToolbarShowing, AppPanel::kInlineToolbar}}) {
      if (!showing) continue;
      deps_.panels.close(panel);
      setPanelVisible(panel, false);
      return;
    }
  }

  // 3. The Notes-scoped shortcuts.
  if (snapshot_.isNotesFrontmost && isKeyboardFocusInNotes(event)) {
    if (matches(settings_.commandPaletteShortcut, event)) return openCommandPalette();
    if (matches(settings_.quickOpenShortcut, event)) return openQuickOpen();
  }

  // 4. The slash-command panel's keys, which the monitor swallowed.
  if (slash_ && snapshot_.isNotesTextAreaFocusedCached && handleSlashNavigationKey(event)) return;

  // 5. Typed text; it already reached Notes.
  if (hasCommandModifier(event.modifierFlags)) return;
  handleTypedKey(event);
}

bool AppController::isKeyboardFocusInNotes(const KeyInputEvent& event) const {
  if (!event.keyboardFocusProcessIdentifier || !snapshot_.notesProcessIdentifier) return true;
  return *event.keyboardFocusProcessIdentifier == *snapshot_.notesProcessIdentifier;
}

bool AppController::handleSlashNavigationKey(const KeyInputEvent& event) {
  switch (event.keyCode) {
    case kUpArrowKeyCode:
    case kDownArrowKeyCode: {
      if (slash_->rows.empty()) return true;
      const size_t count = slash_->rows.size();
      const bool down = event.keyCode == kDownArrowKeyCode;
      slash_->selected = (slash_->selected + (down ? 1 : count - 1)) % count;
      deps_.panels.showSlashPanel(slash_->rows, slash_->selected);
      return true;
    }
    case kReturnKeyCode:
    case kKeypadEnterKeyCode: {
      if (slash_->rows.empty()) {
        // Nothing to run: the swallowed Return is typed after all, so no line break is lost.
        endSlashQuery(true);
        triggerEngine_.reset();
        auto& editor = deps_.textEditor;
        deps_.actions.post([&editor] { editor.typeText("\n"); });
        return true;
      }
      runSlashCommand(slash_->rows[slash_->selected]);
      return true;
    }
    case kEscapeKeyCode:
      endSlashQuery(true);
      return true;
    default:
      return false;
  }
}

void AppController::handleTypedKey(const KeyInputEvent& event) {
  if (settings_.markdownTriggersEnabled) {
    // The engine follows every key so its line stays right; only the note body is formatted.
    auto trigger = triggerEngine_.handleKey(event);
    if (trigger && snapshot_.isNotesTextAreaFocusedCached) applyTrigger(*trigger);
  }
  if (settings_.slashCommandsEnabled) handleSlashTyping(event);
}

void AppController::handleSlashTyping(const KeyInputEvent& event) {
  if (!slash_) {
    if (event.characters == "/" && snapshot_.isNotesFrontmost && snapshot_.isNotesTextAreaFocusedCached) {
      beginSlashQuery();
    }
    return;
  }
  if (event.keyCode == kDeleteKeyCode) {
    if (slash_->query.empty()) return endSlashQuery(true);  // the slash itself was deleted
    slash_->query.pop_back();
    return refreshSlashRows();
  }
  const std::u32string typed = core::decodeUtf8(event.characters);
  if (isReturn(event.keyCode) || event.keyCode == kEscapeKeyCode || typed.empty() || movesCaret(typed) ||
      typed.find_first_of(U"\r\n\t") != std::u32string::npos) {
    return endSlashQuery(true);
  }
  slash_->query += typed;
  refreshSlashRows();
  // A query that finds nothing is prose ("and/or"), not a command.
  if (slash_->rows.empty()) endSlashQuery(true);
}

void AppController::beginSlashQuery() {
  deps_.slashSession.begin();
  slash_.emplace();
  snapshot_.slashQueryActive = true;
  publishSnapshot();
  refreshSlashRows();
  if (const auto& error = deps_.slashSession.lastError()) {
    kLog.info() << "Slash panel lists built-in commands only: " << *error;
  }
  show(status::kSlashPanelOpened);
}

void AppController::refreshSlashRows() {
  slash_->rows = deps_.slashSession.rows(core::encodeUtf8(slash_->query));
  slash_->selected = 0;
  deps_.panels.showSlashPanel(slash_->rows, slash_->selected);
}

void AppController::endSlashQuery(bool showClosedStatus) {
  slash_.reset();
  snapshot_.slashQueryActive = false;
  publishSnapshot();
  deps_.panels.hideSlashPanel();
  if (showClosedStatus) show(status::kSlashPanelClosed);
}

std::string AppController::slashQuery() const {
  return slash_ ? core::encodeUtf8(slash_->query) : std::string();
}

const std::vector<SlashCommand>& AppController::slashRows() const {
  static const std::vector<SlashCommand> kNone;
  return slash_ ? slash_->rows : kNone;
}

void AppController::runSlashCommand(SlashCommand command) {
  // The slash and the query after it, as typed into the note.
  const int typedCharacters = slash_ ? static_cast<int>(slash_->query.size()) + 1 : 0;
  const std::string typedText = slash_ ? "/" + core::encodeUtf8(slash_->query) : std::string();
  if (slash_) endSlashQuery(false);
  // The line now holds the command's result, which no trigger may mistake for its start.
  triggerEngine_.reset();
  const SlashCommandAction action = deps_.slashSession.action(command, deps_.clock.now(), settings_.formats);
  auto& editor = deps_.textEditor;

  if (std::holds_alternative<SlashCommandAction::OpenAssistant>(action.step)) {
    // Read now, not at the last focus change: the line the user is on, without the query.
    std::optional<NotesAccessibilityContext> context;
    if (snapshot_.isNotesFrontmost) context = deps_.notesAccessibility.readContext();
    if (!context) return show(status::kSelectNoteFirst);
    std::string prompt = context->currentLine.value_or("");
    if (const size_t at = prompt.rfind(typedText); !typedText.empty() && at != std::string::npos) {
      prompt.erase(at, typedText.size());
    }
    AssistantHandOff handOff{std::move(context), std::move(prompt)};
    const std::string message = assistantOpenedMessage(handOff.noteContext);
    auto& panels = deps_.panels;
    auto& display = deps_.status;
    // The panel opens only once the query is gone, so the deletions reach the note, not the panel.
    deps_.actions.post([&editor, &panels, &display, &mainQueue = deps_.mainQueue, typedCharacters,
                        handOff = std::move(handOff), message] {
      removeTyped(editor, typedCharacters);
      mainQueue.post([&panels, &display, handOff, message] {
        panels.showAssistant(handOff);
        display.showStatus(message);
      });
    });
    return;
  }

  if (const auto* format = std::get_if<SlashCommandAction::ApplyFormat>(&action.step)) {
    auto& formatting = deps_.formatting;
    const NotesFormatCommand formatCommand = format->command;
    return perform([&editor, &formatting, typedCharacters, formatCommand] {
      if (!removeTyped(editor, typedCharacters)) return std::string(status::kCouldNotApplyFormatting);
      return applyFormatting(formatting, formatCommand);
    });
  }

  if (const auto* text = std::get_if<SlashCommandAction::TypeText>(&action.step)) {
    const std::string failure(insertFailureMessage(command.kind));
    return perform([&editor, typedCharacters, inserted = text->text, failure] {
      if (!removeTyped(editor, typedCharacters) || !editor.typeText(inserted)) return failure;
      return std::string(status::kInsertedDateAndTime);
    });
  }

  const auto& paste = std::get<SlashCommandAction::PasteTemplate>(action.step);
  auto& paster = deps_.templatePaster;
  perform([&editor, &paster, typedCharacters, html = paste.html] {
    if (!removeTyped(editor, typedCharacters) || !paster.paste(html)) {
      return std::string(status::kCouldNotPasteMarkdown);
    }
    return std::string(status::kInsertedTemplate);
  });
}

void AppController::applyTrigger(const TriggerEvent& trigger) {
  auto& editor = deps_.textEditor;
  const int count = trigger.charactersToRemove;
  if (trigger.kind == TriggerKind::kNoteLink) {
    // The two brackets give way to a link the user picks in Quick Open, opened once they are gone.
    auto& panels = deps_.panels;
    auto& display = deps_.status;
    deps_.actions.post([&editor, &panels, &display, &mainQueue = deps_.mainQueue, count] {
      if (!editor.deleteBackward(count)) {
        mainQueue.post([&display] { display.showStatus(status::kCouldNotReplaceNoteLinkTrigger); });
        return;
      }
      mainQueue.post([&panels, &display] {
        panels.showQuickOpen();
        display.showStatus(std::string(status::kNoteLinkTriggerPrefix) +
                           "choose the note to link in Quick Open");
      });
    });
    return;
  }
  const auto command = formatCommandForTrigger(trigger.kind);
  if (!command) return;  // the slash row never fires; the slash recogniser handles "/"
  auto& formatting = deps_.formatting;
  perform([&editor, &formatting, count, command = *command] {
    if (!editor.deleteBackward(count)) return std::string(status::kCouldNotRemoveTrigger);
    return applyFormatting(formatting, command);
  });
}

void AppController::openQuickOpen() {
  if (slash_) endSlashQuery(false);  // its keys must not be swallowed behind another panel
  deps_.panels.showQuickOpen();
  show(status::kQuickOpenOpened);
}

void AppController::openCommandPalette() {
  if (slash_) endSlashQuery(false);
  deps_.panels.showCommandPalette();
  snapshot_.commandPalettePresented = true;
  publishSnapshot();
  show(status::kCommandPaletteOpened);
}

void AppController::openAssistant(std::string prompt) {
  if (slash_) endSlashQuery(false);
  std::optional<NotesAccessibilityContext> context;
  if (snapshot_.isNotesFrontmost) context = deps_.notesAccessibility.readContext();
  deps_.panels.showAssistant({context, std::move(prompt)});
  show(assistantOpenedMessage(context));
}

void AppController::openSkillsLauncher() {
  if (slash_) endSlashQuery(false);
  deps_.panels.showSkillsLauncher();
  snapshot_.skillsLauncherShowing = true;
  publishSnapshot();
}

void AppController::menuBarIconClicked() {
  switch (settings_.menuBarIconClickAction) {
    case MenuBarIconClickAction::kShowMenu:
      return deps_.panels.showStatusMenu();
    case MenuBarIconClickAction::kOpenQuickOpen:
      return openQuickOpen();
    case MenuBarIconClickAction::kOpenAssistant:
      return openAssistant();
  }
}

void AppController::openQuickOpenItem(NotesItemKind kind, const std::string& identifier) {
  auto& scripts = deps_.scripts;
  perform([&scripts, kind, identifier] {
    const auto label = kind == NotesItemKind::kNote ? kShowNoteTaskLabel : kShowFolderTaskLabel;
    try {
      scripts.run(notesShowScript(kind, identifier), std::string(label));
    } catch (const std::exception& error) {
      kLog.warning() << "Could not open item in Apple Notes: " << error.what();
      return std::string(status::kCouldNotOpenItem);
    }
    return std::string(kind == NotesItemKind::kNote ? status::kOpenedNote : status::kOpenedFolder);
  });
}

void AppController::runPaletteCommand(NotesFormatCommand command) {
  if (snapshot_.commandPalettePresented) {
    deps_.panels.close(AppPanel::kCommandPalette);
    setPanelVisible(AppPanel::kCommandPalette, false);
  }
  auto& workspace = deps_.workspace;
  auto& formatting = deps_.formatting;
  perform([&workspace, &formatting, command] {
    // The palette is our own window, so Notes must be in front before it takes keys.
    if (!workspace.activateApplication(kNotesBundleIdentifier))
      return std::string(status::kCouldNotFocusNotes);
    return applyFormatting(formatting, command);
  });
}

void AppController::publishSnapshot() { deps_.consumeStore.replace(snapshot_); }

void AppController::show(std::string_view message) { deps_.status.showStatus(message); }

void AppController::perform(std::function<std::string()> work) {
  auto& status = deps_.status;
  auto& mainQueue = deps_.mainQueue;
  deps_.actions.post([work = std::move(work), &status, &mainQueue] {
    std::string message = work();
    if (message.empty()) return;
    mainQueue.post([&status, message = std::move(message)] { status.showStatus(message); });
  });
}

}  // namespace zephyl::editor
