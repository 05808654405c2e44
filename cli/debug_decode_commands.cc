#include <sstream>

#include "cli/commands.h"
#include "cli/json_writer.h"
#include "cli/note_json.h"
#include "notes_store/note_body_decoder.h"
#include "notes_store/note_document.h"
#include "notes_store/note_markdown.h"
#include "notes_store/note_table_decoder.h"

namespace zephyl::cli {
namespace {

// The bytes of FILE, or of standard input when no file is given.
std::string readInput(CliContext& context, const std::string& path) {
  std::ostringstream bytes;
  if (path.empty() || path == "-") {
    if (context.streams().in != nullptr) bytes << context.streams().in->rdbuf();
    return bytes.str();
  }
  // Through the file system, which refuses a folder instead of reading it as empty.
  std::optional<std::string> contents = context.fileSystem().readFile(path);
  if (!contents) throw CliFailure("Cannot read " + path);
  return std::move(*contents);
}

std::string cellText(const notes_store::NoteDocument& cell) {
  return notes_store::removeControlCharacters(cell.text);
}

}  // namespace

void addDebugDecodeCommands(CLI::App& debug, CliContext& context) {
  auto* body =
      debug.add_subcommand("decode-body", "Decode one note body blob (gzip, zlib or raw) from FILE or stdin");
  auto bodyPath = std::make_shared<std::string>();
  body->add_option("FILE", *bodyPath, "The blob as stored in ZICNOTEDATA.ZDATA (default: standard input)");
  body->callback([&context, bodyPath] {
    const std::string blob = readInput(context, *bodyPath);
    const auto parsed = notes_store::decodeNoteBody(blob, 0);
    const auto document = notes_store::decodeNoteDocument(blob);
    JsonWriter json(context.streams().out);
    json.beginObject();
    json.key("candidates").beginArray();
    for (const auto& candidate : parsed.candidates) {
      json.beginObject();
      json.key("text").value(candidate.text);
      json.key("attachmentIdentifiers").stringArray(candidate.attachmentIdentifiers);
      json.key("lineStyles");
      writeLineStyles(json, candidate.lineStyles);
      json.key("links").stringArray(candidate.links);
      json.endObject();
    }
    json.endArray();
    json.key("attachmentIdentifiers")
        .stringArray({parsed.attachmentIdentifiers.begin(), parsed.attachmentIdentifiers.end()});
    json.key("markdown");
    if (document) {
      json.value(notes_store::noteToMarkdown(*document));
    } else {
      json.null();
    }
    json.endObject();
    json.finish();
  });

  auto* table = debug.add_subcommand("decode-table", "Decode one table's mergeable data from FILE or stdin");
  auto tablePath = std::make_shared<std::string>();
  table->add_option("FILE", *tablePath, "The blob of ZMERGEABLEDATA1 (default: standard input)");
  table->callback([&context, tablePath] {
    const auto decoded = notes_store::decodeNoteTable(readInput(context, *tablePath));
    if (!decoded) throw CliFailure("The input is not a readable table.");
    JsonWriter json(context.streams().out);
    json.beginObject();
    json.key("rows").beginArray();
    for (const auto& row : decoded->rows) {
      std::vector<std::string> cells;
      for (const auto& cell : row) cells.push_back(cellText(cell));
      json.stringArray(cells);
    }
    json.endArray();
    json.key("direction").value(decoded->direction);
    json.endObject();
    json.finish();
  });
}

}  // namespace zephyl::cli
