#include "cli/shown_note.h"

#include "cli/json_writer.h"
#include "cli/note_json.h"
#include "cli/note_reference.h"

namespace zephyl::cli {
namespace {

void printJson(std::ostream& out, const notes_store::RenderedNote& note) {
  const auto& reading = note.lineStyleReading;
  const auto* candidate = reading.firstWithText();
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
      .stringArray({reading.attachmentIdentifiers.begin(), reading.attachmentIdentifiers.end()});
  json.endObject();
  json.finish();
}

}  // namespace

void printShownNote(CliContext& context, const std::string& reference, bool asJson) {
  notes_store::NoteRenderOptions options;
  options.keepLineStyleReading = asJson;
  const notes_store::RenderedNote note =
      context.withRequiredDatabase([&](notes_store::NotesDatabaseConnection& connection) {
        return renderReferencedNote(connection, reference, options);
      });
  if (note.locked) {
    throw CliFailure("\"" + note.title + "\" is locked with a password; Zephyl does not show locked notes.");
  }
  if (note.overLimit)
    throw CliFailure("\"" + note.title +
                     "\" is not shown: " + std::string(notes_store::kNoteBodyOverLimitText) + ".");
  if (asJson) {
    printJson(context.streams().out, note);
  } else {
    context.streams().out << note.markdown;
  }
}

}  // namespace zephyl::cli
