#include <fstream>
#include <memory>

#include "cli/commands.h"
#include "cli/session_replay.h"
#include "core/error.h"

namespace zephyl::cli {

void addDebugReplayCommand(CLI::App& debug, CliContext& context) {
  auto* replay = debug.add_subcommand(
      "replay",
      "Run a recorded session (one JSON event a line) through the application controller wired to a "
      "recording desktop; print each status line and platform action as a JSON line, in order");
  auto path = std::make_shared<std::string>();
  auto showPanels = std::make_shared<bool>(false);
  replay->add_option("FILE", *path, "The recording, or - for standard input")->required();
  replay->add_flag("--panels", *showPanels, "Also print the panels' changes ({\"panel\": …})");
  replay->footer(
      "Events: {\"type\":\"activate\",\"bundleID\":\"com.apple.Notes\",\"name\":\"Notes\",\"pid\":501}, "
      "{\"type\":\"terminate\",\"pid\":501}, {\"type\":\"focus\",\"editorFocused\":true} (optional role, "
      "subrole, selection, line, noteID, noteTitle), {\"type\":\"key\",\"keyCode\":4,\"characters\":\"h\","
      "\"flags\":0}, {\"type\":\"text\",\"text\":\"## Plan\\n\"} (one US key press a character, line feed is "
      "Return), {\"type\":\"setting\",\"key\":\"slashCommandsEnabled\",\"value\":true} (null removes), "
      "{\"type\":\"panel\",\"name\":\"inlineAI\",\"visible\":true}, "
      "{\"type\":\"accessibility\",\"trusted\":false}, "
      "{\"type\":\"openItem\",\"kind\":\"note\",\"id\":\"x-coredata://…\"}, "
      "{\"type\":\"paletteCommand\",\"command\":\"bold\"}, {\"type\":\"menuBarClick\"}.\n"
      "Settings start at their defaults. Notes has its note body focused until a focus event says otherwise. "
      "Templates come from the configured library when there is one.");
  replay->callback([&context, path, showPanels] {
    std::ifstream file;
    std::istream* in = context.streams().in;
    if (*path != "-") {
      file.open(*path, std::ios::binary);
      if (!file) throw CliFailure("Cannot read " + *path);
      in = &file;
    }
    notes_store::NotesDatabaseAccess* database = nullptr;
    try {
      database = &context.notesDatabase();
    } catch (const core::Error& error) {
      context.streams().err << "zephyl: templates left out: " << error.description() << '\n';
    }
    SessionReplay session(database, {*showPanels});
    if (in == nullptr) return;
    try {
      session.replay(*in, context.streams().out);
    } catch (const ReplayInputError& error) {
      throw CliFailure(std::string(*path == "-" ? "standard input" : *path) + ", " + error.what());
    }
  });
}

}  // namespace zephyl::cli
