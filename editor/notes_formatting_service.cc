#include "editor/notes_formatting_service.h"

#include <algorithm>
#include <cctype>
#include <condition_variable>
#include <string>
#include <variant>

#include "core/logger.h"
#include "core/mutex.h"
#include "editor/accessibility_error.h"
#include "editor/notes_format_menu_table.h"
#include "editor/notes_formatting_error.h"
#include "editor/notes_menu_click_script.h"
#include "editor/notes_menu_titles.h"
#include "editor/script_error.h"

namespace zephyl::editor {
namespace {

constexpr core::Logger kLog("NotesFormattingService");

using Code = NotesFormattingError::Code;

// Notes' shortcuts of the paragraph commands as the menu reports them, for items
// whose title is in a language the title table does not know.
struct MenuShortcut {
  char character;
  int modifiers;
  NotesFormatCommand command;
};
constexpr MenuShortcut kMenuShortcuts[] = {
    {'t', kMenuModifierShift, NotesFormatCommand::kTitle},
    {'h', kMenuModifierShift, NotesFormatCommand::kHeading},
    {'j', kMenuModifierShift, NotesFormatCommand::kSubheading},
    {'l', kMenuModifierShift, NotesFormatCommand::kChecklist},
    {'m', kMenuModifierShift, NotesFormatCommand::kMonostyled},
    {'\'', 0, NotesFormatCommand::kQuote},
};

std::optional<NotesFormatCommand> commandOfItem(const AccessibilityMenuItem& item,
                                                const std::vector<NotesFormatCommand>& candidates) {
  if (auto command = NotesMenuTitles::commandForItemTitle(item.title, candidates)) return command;
  if (item.commandCharacter.size() != 1) return std::nullopt;
  const char key = static_cast<char>(std::tolower(static_cast<unsigned char>(item.commandCharacter[0])));
  for (const auto& shortcut : kMenuShortcuts) {
    if (shortcut.character == key && shortcut.modifiers == item.commandModifiers &&
        std::find(candidates.begin(), candidates.end(), shortcut.command) != candidates.end()) {
      return shortcut.command;
    }
  }
  return std::nullopt;
}

bool isFontEntry(const AccessibilityMenuItem& item) {
  const auto& titles = NotesMenuTitles::fontMenu();
  return std::find(titles.begin(), titles.end(), item.title) != titles.end();
}

}  // namespace

NotesFormattingService::NotesFormattingService(ShortcutPoster& poster, ScriptRunner& scripts,
                                               NotesMenuReader& reader)
    : poster_(poster), scripts_(scripts), reader_(reader) {}

void NotesFormattingService::apply(NotesFormatCommand command) {
  if (notesShortcutForCommand(command)) {
    postShortcut(command);
  } else {
    clickMenuItem(command);
  }
}

void NotesFormattingService::postShortcut(NotesFormatCommand command) {
  const auto shortcut = notesShortcutForCommand(command);
  if (!shortcut || !poster_.post(*shortcut)) {
    kLog.error() << "Could not post the shortcut of " << notesFormatCommandIdentifier(command);
    throw NotesFormattingError(Code::kShortcutPostFailed);
  }
  kLog.debug() << "Posted the shortcut of " << notesFormatCommandIdentifier(command);
}

void NotesFormattingService::clickMenuItem(NotesFormatCommand command) {
  const std::string script = NotesMenuClickScript::forCommand(command);
  try {
    scripts_.run(script, std::string(kMenuClickTaskLabel));
  } catch (const ScriptError& error) {
    if (error.code() == ScriptError::Code::kCouldNotCreate) {
      kLog.error() << "Could not create Notes formatting menu click script";
    } else {
      kLog.error() << "Notes formatting menu click failed: "
                   << (error.scriptMessage().empty() ? error.description() : error.scriptMessage());
    }
    // The script raises the menu errors with their own texts.
    if (auto code = NotesFormattingError::codeForText(error.scriptMessage()))
      throw NotesFormattingError(*code);
    throw;
  }
  kLog.debug() << "Clicked the menu item of " << notesFormatCommandIdentifier(command);
}

std::set<NotesFormatCommand> NotesFormattingService::readActiveCommands() {
  // The outcome of one read, handed from the executor to the caller by value.
  struct Outcome {
    core::Mutex mutex;
    std::condition_variable_any done;
    bool finished ZEPHYL_GUARDED_BY(mutex) = false;
    // The string is an unexpected failure's message.
    std::variant<std::monostate, std::set<NotesFormatCommand>, NotesFormattingError, AccessibilityError,
                 std::string>
        value ZEPHYL_GUARDED_BY(mutex);
  } outcome;
  activeCommandsReaderExecutor_.post([this, &outcome] {
    decltype(outcome.value) value;
    try {
      value = readActiveCommandsOnExecutor();
    } catch (const NotesFormattingError& error) {
      value = error;
    } catch (const AccessibilityError& error) {
      value = error;
    } catch (const std::exception& error) {
      value = std::string(error.what());
    }
    core::MutexLock lock(outcome.mutex);
    outcome.value = std::move(value);
    outcome.finished = true;
    outcome.done.notify_all();
  });
  core::MutexLock lock(outcome.mutex);
  outcome.done.wait(lock, [&]() ZEPHYL_REQUIRES(outcome.mutex) { return outcome.finished; });
  if (auto* commands = std::get_if<std::set<NotesFormatCommand>>(&outcome.value)) return std::move(*commands);
  if (auto* error = std::get_if<NotesFormattingError>(&outcome.value)) throw *error;
  if (auto* error = std::get_if<AccessibilityError>(&outcome.value)) throw *error;
  kLog.error() << "Reading the active formatting commands failed: " << std::get<std::string>(outcome.value);
  throw AccessibilityError(AccessibilityError::Code::kReadFailed);
}

std::set<NotesFormatCommand> NotesFormattingService::readActiveCommandsOnExecutor() {
  const auto items = reader_.readMenu(NotesMenuTitles::formatMenu());
  if (!items) throw NotesFormattingError(Code::kFormatMenuUnavailable);
  std::set<NotesFormatCommand> active;
  for (const auto& item : *items) {
    if (isFontEntry(item)) {
      for (const auto& fontItem : item.submenu) {
        if (fontItem.markCharacter.empty()) continue;
        if (auto command = commandOfItem(fontItem, NotesFormatMenuTable::fontMenuCheckMarkCommands())) {
          active.insert(*command);
        }
      }
      continue;
    }
    if (item.markCharacter.empty()) continue;
    if (auto command = commandOfItem(item, NotesFormatMenuTable::formatMenuCheckMarkCommands())) {
      active.insert(*command);
    }
  }
  return active;
}

}  // namespace zephyl::editor
