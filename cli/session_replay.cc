#include "cli/session_replay.h"

#include <limits>

#include "core/in_memory_settings_store.h"
#include "editor/app_controller.h"
#include "editor/keyboard_consume_rules.h"
#include "editor/note_template_service.h"
#include "editor/template_date_format.h"
#include "editor/us_key_layout.h"
#include "platform/linux/system_clock.h"
#include "platform/recording/recording_platform.h"

namespace zephyl::cli {
namespace {

using core::JSONValue;

// The replay has no run loop: work posted to the main thread runs at once, so
// the output order is the order the controller caused things in.
class ImmediateMainQueue : public editor::MainQueue {
 public:
  void post(std::function<void()> work) override { work(); }
};

std::string requiredString(const JSONValue& event, std::string_view name) {
  const auto* value = event.find(name);
  if (value == nullptr || value->string() == nullptr) {
    throw ReplayInputError("\"" + std::string(name) + "\" must be a string");
  }
  return *value->string();
}

std::optional<std::string> optionalString(const JSONValue& event, std::string_view name) {
  const auto* value = event.find(name);
  if (value == nullptr || value->isNull()) return std::nullopt;
  if (value->string() == nullptr)
    throw ReplayInputError("\"" + std::string(name) + "\" must be a string or null");
  return *value->string();
}

bool requiredBool(const JSONValue& event, std::string_view name) {
  const auto* value = event.find(name);
  if (value == nullptr || !value->boolean())
    throw ReplayInputError("\"" + std::string(name) + "\" must be true or false");
  return *value->boolean();
}

int64_t integer(const JSONValue& event, std::string_view name, int64_t low, int64_t high,
                std::optional<int64_t> fallback = std::nullopt) {
  const auto* value = event.find(name);
  if (value == nullptr && fallback) return *fallback;
  const auto number = value != nullptr ? value->integer() : std::nullopt;
  if (!number || *number < low || *number > high) {
    throw ReplayInputError("\"" + std::string(name) + "\" must be an integer from " + std::to_string(low) +
                           " to " + std::to_string(high));
  }
  return *number;
}

}  // namespace

struct SessionReplay::Wiring {
  explicit Wiring(notes_store::NotesDatabaseAccess* database)
      : templates(database, nullptr),
        slashSession(templates, formatter),
        formatting(platform, platform, platform),
        paster(platform, platform),
        controller(editor::AppControllerDependencies{settings, clock, uuids, consumeStore, platform, platform,
                                                     platform, formatting, platform, paster, platform,
                                                     slashSession, platform, platform, actions, mainQueue}) {}

  // As the event tap does: the key goes to the application in front; only the
  // two Notes shortcuts ask accessibility which application has focus.
  void deliverKey(editor::KeyInputEvent event) {
    if (!platform.isProcessTrusted()) return;  // without the permission the tap sees no key
    if (auto frontmost = platform.frontmostApplication())
      event.targetProcessIdentifier = frontmost->processIdentifier;
    const auto snapshot = consumeStore.snapshot();
    if (!editor::shouldForwardKey(event, snapshot)) return;
    const bool notesShortcut =
        (snapshot.commandPaletteShortcut && snapshot.commandPaletteShortcut->matches(event)) ||
        (snapshot.quickOpenShortcut && snapshot.quickOpenShortcut->matches(event));
    if (notesShortcut && snapshot.isNotesFrontmost && platform.isProcessTrusted()) {
      event.keyboardFocusProcessIdentifier = platform.focusedApplicationProcessIdentifier();
    }
    if (!editor::shouldForwardKey(event, snapshot)) return;
    controller.handleKey(event);
  }

  core::InMemorySettingsStore settings;
  platform::SystemClock clock;
  editor::RandomUuidGenerator uuids;
  editor::KeyboardConsumeStore consumeStore;
  platform::RecordingPlatform platform;
  editor::TemplateDateFormatter formatter;
  editor::NoteTemplateService templates;
  editor::SlashCommandSession slashSession;
  editor::NotesFormattingService formatting;
  editor::NoteTemplatePaster paster;
  editor::ImmediateActionQueue actions;
  ImmediateMainQueue mainQueue;
  editor::AppController controller;  // last: it holds references to everything above
};

SessionReplay::SessionReplay(notes_store::NotesDatabaseAccess* database, Options options)
    : wiring_(std::make_unique<Wiring>(database)), options_(options) {
  wiring_->controller.start();
}

SessionReplay::~SessionReplay() = default;

void SessionReplay::apply(const JSONValue& event, std::ostream& out) {
  if (event.object() == nullptr) throw ReplayInputError("an event must be a JSON object");
  const std::string type = requiredString(event, "type");
  auto& wiring = *wiring_;
  auto& platform = wiring.platform;
  auto& controller = wiring.controller;

  if (type == "activate") {
    editor::RunningApplication application;
    application.bundleIdentifier = optionalString(event, "bundleID");
    application.localizedName = optionalString(event, "name");
    application.processIdentifier =
        static_cast<int32_t>(integer(event, "pid", 1, std::numeric_limits<int32_t>::max()));
    platform.activate(application);
  } else if (type == "terminate") {
    platform.terminate(static_cast<int32_t>(integer(event, "pid", 1, std::numeric_limits<int32_t>::max())));
  } else if (type == "focus") {
    editor::NotesAccessibilityContext context;
    context.isEditorFocused = requiredBool(event, "editorFocused");
    context.focusedRole = optionalString(event, "role").value_or(context.isEditorFocused ? "AXTextArea" : "");
    context.focusedSubrole = optionalString(event, "subrole").value_or("");
    context.selectedText = optionalString(event, "selection");
    context.currentLine = optionalString(event, "line");
    context.noteIdentifier = optionalString(event, "noteID");
    context.noteTitle = optionalString(event, "noteTitle");
    platform.moveFocus(context);
  } else if (type == "key") {
    editor::KeyInputEvent key;
    key.keyCode = static_cast<uint16_t>(integer(event, "keyCode", 0, 0xFFFF));
    key.characters = optionalString(event, "characters").value_or("");
    key.modifierFlags =
        static_cast<uint64_t>(integer(event, "flags", 0, std::numeric_limits<int64_t>::max(), 0));
    wiring.deliverKey(key);
  } else if (type == "text") {
    for (const auto& key : editor::UsKeyLayout::keyPresses(requiredString(event, "text")))
      wiring.deliverKey(key);
  } else if (type == "setting") {
    const std::string key = requiredString(event, "key");
    const auto* value = event.find("value");
    if (value == nullptr) throw ReplayInputError("a setting needs a \"value\" (null removes it)");
    if (value->isNull()) {
      wiring.settings.remove(key);
    } else {
      wiring.settings.setJSONValue(key, *value);
    }
    controller.reloadSettings();
  } else if (type == "panel") {
    const std::string name = requiredString(event, "name");
    const auto panel = editor::appPanelFromName(name);
    if (!panel) throw ReplayInputError("unknown panel \"" + name + "\"");
    controller.setPanelVisible(*panel, requiredBool(event, "visible"));
  } else if (type == "accessibility") {
    platform.setTrusted(requiredBool(event, "trusted"));
    controller.refreshAccessibilityPermission();
  } else if (type == "openItem") {
    const std::string kind = requiredString(event, "kind");
    if (kind != "note" && kind != "folder") throw ReplayInputError("\"kind\" must be \"note\" or \"folder\"");
    controller.openQuickOpenItem(
        kind == "note" ? editor::NotesItemKind::kNote : editor::NotesItemKind::kFolder,
        requiredString(event, "id"));
  } else if (type == "paletteCommand") {
    const std::string name = requiredString(event, "command");
    const auto command = editor::notesFormatCommandFromIdentifier(name);
    if (!command) throw ReplayInputError("unknown formatting command \"" + name + "\"");
    controller.runPaletteCommand(*command);
  } else if (type == "menuBarClick") {
    controller.menuBarIconClicked();
  } else {
    throw ReplayInputError("unknown event type \"" + type + "\"");
  }

  writeNewEntries(out);
}

void SessionReplay::writeNewEntries(std::ostream& out) {
  auto entries = wiring_->platform.entriesSince(written_);
  written_ += entries.size();
  for (const auto& entry : entries) {
    if (!options_.showPanels && entry.object()->front().first == "panel") continue;
    out << entry.serialized() << '\n';
  }
  out.flush();
}

size_t SessionReplay::replay(std::istream& in, std::ostream& out) {
  size_t lineNumber = 0;
  size_t events = 0;
  std::string line;
  while (std::getline(in, line)) {
    ++lineNumber;
    const auto start = line.find_first_not_of(" \t\r");
    if (start == std::string::npos || line[start] == '#') continue;
    try {
      apply(JSONValue::parse(line), out);
    } catch (const ReplayInputError& error) {
      throw ReplayInputError("line " + std::to_string(lineNumber) + ": " + error.what());
    } catch (const core::JSONValueError& error) {
      throw ReplayInputError("line " + std::to_string(lineNumber) + ": " + error.description());
    }
    ++events;
  }
  return events;
}

}  // namespace zephyl::cli
