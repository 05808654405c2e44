#include "cli/commands.h"
#include "cli/json_writer.h"
#include "cli/note_json.h"
#include "cli/shown_note.h"

namespace zephyl::cli {
namespace {

using notes_store::NotesDatabaseConnection;

void printJson(std::ostream& out, const ShownNote& note) {
  const auto* candidate = note.parsed.firstWithText();
  JsonWriter json(out);
  json.beginObject();
  json.key("id").value(note.id);
  json.key("title").value(note.title);
  json.key("text").value(candidate ? candidate->text : std::nullopt);
  json.key("markdown").value(note.markdown);
  json.key("lineStyles");
  writeLineStyles(json,
                  candidate ? candidate->lineStyles : std::vector<notes_store::NotesDatabaseLineStyle>{});
  json.key("links").stringArray(candidate ? candidate->links : std::vector<std::string>{});
  json.key("attachmentIdentifiers")
      .stringArray({note.parsed.attachmentIdentifiers.begin(), note.parsed.attachmentIdentifiers.end()});
  json.endObject();
  json.finish();
}

}  // namespace

void addShowCommand(CLI::App& app, CliContext& context) {
  auto* command = app.add_subcommand("show", "Show one note as Markdown (or its decoded body as JSON)");
  auto reference = std::make_shared<std::string>();
  auto asJson = std::make_shared<bool>(false);
  auto asMarkdown = std::make_shared<bool>(false);
  command->add_option("NOTE", *reference, "The note's x-coredata:// URI, key or UUID")->required();
  auto* jsonFlag = command->add_flag("--json", *asJson,
                                     "Print {id, title, text, markdown, lineStyles, links, "
                                     "attachmentIdentifiers}");
  command->add_flag("--markdown", *asMarkdown, "Print the note's Markdown (the default)")->excludes(jsonFlag);
  command->callback([&context, reference, asJson] {
    const ShownNote note = context.withRequiredDatabase(
        [&](NotesDatabaseConnection& connection) { return loadShownNote(connection, *reference); });
    if (note.locked) {
      throw CliFailure("\"" + note.title +
                       "\" is locked with a password; Zephyl does not show locked notes.");
    }
    if (note.overLimit)
      throw CliFailure("\"" + note.title +
                       "\" is not shown: " + std::string(notes_store::kNoteBodyOverLimitText) + ".");
    if (*asJson) {
      printJson(context.streams().out, note);
    } else {
      context.streams().out << note.markdown;
    }
  });
}

}  // namespace zephyl::cli
