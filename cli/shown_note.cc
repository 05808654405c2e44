#include "cli/shown_note.h"

#include <unordered_set>

#include "cli/note_reference.h"
#include "notes_store/note_document.h"
#include "notes_store/note_markdown.h"
#include "notes_store/note_table_decoder.h"
#include "notes_store/notes_database_access.h"

namespace zephyl::cli {

using notes_store::NotesDatabaseAccess;
using notes_store::NotesDatabaseConnection;

ShownNote loadShownNote(NotesDatabaseConnection& connection, const std::string& reference) {
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
  shown.overLimit = row->bodyOverLimit || shown.parsed.overLimit;
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
    if (!row->preview.empty())
      shown.markdown += "\n" + notes_store::removeControlCharacters(row->preview) + "\n";
  }
  return shown;
}

}  // namespace zephyl::cli
