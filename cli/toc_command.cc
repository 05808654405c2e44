#include "cli/commands.h"
#include "cli/json_writer.h"
#include "cli/note_reference.h"
#include "cli/terminal.h"
#include "notes_store/note_table_of_contents.h"

namespace zephyl::cli {

void addTocCommand(CLI::App& app, CliContext& context) {
  auto* command = app.add_subcommand("toc", "Show a note's table of contents: title, headings, subheadings");
  auto reference = std::make_shared<std::string>();
  auto asJson = std::make_shared<bool>(false);
  command->add_option("NOTE", *reference, "The note's x-coredata:// URI, key or UUID")->required();
  command->add_flag("--json", *asJson, "Print JSON: [{level, text, line}]");
  command->callback([&context, reference, asJson] {
    const notes_store::RenderedNote loaded =
        context.withRequiredDatabase([&](notes_store::NotesDatabaseConnection& connection) {
          return renderReferencedNote(connection, *reference);
        });
    if (loaded.locked) {
      throw CliFailure("\"" + loaded.title +
                       "\" is locked with a password; Zephyl does not read locked notes.");
    }
    if (loaded.overLimit) {
      throw CliFailure("\"" + loaded.title +
                       "\" is not read: " + std::string(notes_store::kNoteBodyOverLimitText) + ".");
    }
    const notes_store::NoteTableOfContents contents =
        loaded.document ? notes_store::makeNoteTableOfContents(*loaded.document)
                        : notes_store::NoteTableOfContents{};
    auto& out = context.streams().out;
    if (!*asJson) {
      for (const auto& entry : contents.entries) {
        const size_t indent = entry.level == notes_store::NoteTableOfContentsEntry::Level::kSubheading ? 4
                              : entry.level == notes_store::NoteTableOfContentsEntry::Level::kHeading  ? 2
                                                                                                       : 0;
        std::string line = std::to_string(entry.lineNumber);
        out << std::string(line.size() < 5 ? 5 - line.size() : 0, ' ') << line << "  "
            << std::string(indent, ' ') << printable(entry.text) << '\n';
      }
      return;
    }
    JsonWriter json(out);
    json.beginArray();
    for (const auto& entry : contents.entries) {
      json.beginObject();
      json.key("level").value(notes_store::tableOfContentsLevelName(entry.level));
      json.key("text").value(entry.text);
      json.key("line").value(entry.lineNumber);
      json.endObject();
    }
    json.endArray();
    json.finish();
  });
}

}  // namespace zephyl::cli
