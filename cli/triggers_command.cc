#include <string>

#include "cli/commands.h"
#include "cli/json_writer.h"
#include "editor/markdown_trigger_engine.h"
#include "editor/us_key_layout.h"
#include "platform/linux/system_clock.h"

namespace zephyl::cli {
namespace {

using editor::TriggerEvent;

void writeShortcut(JsonWriter& json, const std::optional<editor::PostedShortcut>& shortcut) {
  if (!shortcut) {
    json.null();
    return;
  }
  json.beginObject();
  json.key("keyCode").value(static_cast<int64_t>(shortcut->keyCode));
  json.key("modifierFlags").value(static_cast<int64_t>(shortcut->modifierFlags));
  json.endObject();
}

void printEvent(std::ostream& out, const TriggerEvent& event) {
  JsonWriter json(out, 0);
  json.beginObject();
  json.key("id").value(event.identifier);
  json.key("kind").value(editor::triggerKindIdentifier(event.kind));
  json.key("text").value(event.text);
  json.key("triggerInput").value(event.triggerInput);
  json.key("charactersToRemove").value(static_cast<int64_t>(event.charactersToRemove));
  json.key("createdAt").time(event.createdAt);
  const auto command = editor::formatCommandForTrigger(event.kind);
  json.key("command");
  if (command) {
    json.value(editor::notesFormatCommandIdentifier(*command));
  } else {
    json.null();
  }
  json.key("shortcut");
  writeShortcut(json, command ? editor::notesShortcutForCommand(*command) : std::nullopt);
  json.endObject();
  json.finish();
}

}  // namespace

void addTriggersCommand(CLI::App& app, CliContext& context) {
  auto* command = app.add_subcommand("triggers",
                                     "Type standard input as key presses (a line feed is Return, byte 0x7f "
                                     "is Delete) and print one JSON line "
                                     "per recognised Markdown trigger: {id, kind, text, triggerInput, "
                                     "charactersToRemove, createdAt, command, "
                                     "shortcut}");
  auto fullWidth = std::make_shared<bool>(false);
  command->add_flag("--full-width", *fullWidth, "Recognise the full-width (CJK) triggers too");
  command->callback([&context, fullWidth] {
    platform::SystemClock clock;
    editor::RandomUuidGenerator uuids;
    editor::MarkdownTriggerEngine engine(clock, uuids, *fullWidth);
    std::istream* in = context.streams().in;
    if (in == nullptr) return;
    // Line by line, so that typing into a terminal shows triggers as they happen.
    std::string line;
    while (std::getline(*in, line)) {
      if (!in->eof()) line.push_back('\n');
      for (const auto& key : editor::UsKeyLayout::keyPresses(line)) {
        if (auto event = engine.handleKey(key)) printEvent(context.streams().out, *event);
      }
      context.streams().out.flush();
    }
  });
}

}  // namespace zephyl::cli
