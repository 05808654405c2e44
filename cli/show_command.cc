#include <unordered_set>

#include "cli/commands.h"
#include "cli/json_writer.h"
#include "cli/note_json.h"
#include "cli/note_reference.h"
#include "notes_store/note_body_decoder.h"
#include "notes_store/note_document.h"
#include "notes_store/note_markdown.h"
#include "notes_store/note_table_decoder.h"

namespace zephyl::cli {
namespace {

using notes_store::NotesDatabaseAccess;
using notes_store::NotesDatabaseConnection;

struct ShownNote {
  std::string id;
  std::string title;
  bool locked = false;
  bool overLimit = false;
  notes_store::NotesDatabaseParsedNote parsed;
  std::string markdown;
};

ShownNote loadNote(NotesDatabaseConnection& connection, const std::string& reference) {
  const int64_t key = resolveNoteKey(connection, reference);
  const auto row = NotesDatabaseAccess::fetchNote(connection, key);
  ShownNote shown;
  shown.id = "x-coredata://" + NotesDatabaseAccess::fetchStoreUUID(connection).value_or("") + "/ICNote/p" +
             std::to_string(key);
  shown.title = row->title;
  shown.locked = NotesDatabaseAccess::isPasswordProtected(connection, key);
  if (shown.locked) return shown;
  const std::string body = row->bodyData.value_or("");
  shown.parsed = notes_store::decodeNoteBody(body, key);
  shown.overLimit = shown.parsed.overLimit;
  if (shown.overLimit) return shown;
  const auto document = notes_store::decodeNoteDocument(body);
  notes_store::NoteTables tables;
  if (!shown.parsed.attachmentIdentifiers.empty()) {
    const std::unordered_set<std::string> identifiers(shown.parsed.attachmentIdentifiers.begin(),
                                                      shown.parsed.attachmentIdentifiers.end());
    for (auto& [identifier, data] : NotesDatabaseAccess::fetchTableData(connection, key, identifiers)) {
      if (auto table = notes_store::decodeNoteTable(data)) tables.emplace(identifier, std::move(*table));
    }
  }
  if (document) {
    const auto inlineTexts = NotesDatabaseAccess::fetchInlineAttachmentTexts(connection, key);
    notes_store::NoteMarkdownOptions options;
    options.attachmentText = [&](std::string_view identifier) -> std::optional<std::string> {
      const auto it = inlineTexts.find(std::string(identifier));
      if (it == inlineTexts.end()) return std::nullopt;
      return it->second;
    };
    shown.markdown = notes_store::noteToMarkdown(*document, tables, options);
  } else if (shown.parsed.firstWithText() != nullptr) {
    shown.markdown = notes_store::parsedNoteToMarkdown(shown.parsed, tables);
  } else {
    // No readable body: the title and preview are all there is.
    shown.markdown = "# " + notes_store::removeControlCharacters(row->title) + "\n";
    if (!row->preview.empty()) shown.markdown += "\n" + notes_store::removeControlCharacters(row->preview) + "\n";
  }
  return shown;
}

void printJson(std::ostream& out, const ShownNote& note) {
  const auto* candidate = note.parsed.firstWithText();
  JsonWriter json(out);
  json.beginObject();
  json.key("id").value(note.id);
  json.key("title").value(note.title);
  json.key("text").value(candidate ? candidate->text : std::nullopt);
  json.key("markdown").value(note.markdown);
  json.key("lineStyles");
  writeLineStyles(json, candidate ? candidate->lineStyles : std::vector<notes_store::NotesDatabaseLineStyle>{});
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
  auto* jsonFlag = command->add_flag("--json", *asJson, "Print {id, title, text, markdown, lineStyles, links, "
                                                        "attachmentIdentifiers}");
  command->add_flag("--markdown", *asMarkdown, "Print the note's Markdown (the default)")->excludes(jsonFlag);
  command->callback([&context, reference, asJson] {
    const ShownNote note =
        context.withRequiredDatabase([&](NotesDatabaseConnection& connection) { return loadNote(connection, *reference); });
    if (note.locked) {
      throw CliFailure("\"" + note.title + "\" is locked with a password; Zephyl does not show locked notes.");
    }
    if (note.overLimit) throw CliFailure("\"" + note.title + "\" is not shown: " + std::string(notes_store::kNoteBodyOverLimitText) + ".");
    if (*asJson) {
      printJson(context.streams().out, note);
    } else {
      context.streams().out << note.markdown;
    }
  });
}

}  // namespace zephyl::cli
