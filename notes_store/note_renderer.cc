#include "notes_store/note_renderer.h"

#include <unordered_set>

#include "notes_store/note_markdown.h"
#include "notes_store/note_table_decoder.h"
#include "notes_store/notes_database_access.h"
#include "notes_store/notes_object_identifier.h"

namespace zephyl::notes_store {
namespace {

// The tables a note refers to, decoded; those that cannot be are counted and
// left to the Markdown conversion's placeholder.
NoteTables readTables(NotesDatabaseConnection& connection, int64_t key,
                      const std::unordered_set<std::string>& identifiers, size_t& unreadable) {
  NoteTables tables;
  if (identifiers.empty()) return tables;
  for (auto& [identifier, data] : NotesDatabaseAccess::fetchTableData(connection, key, identifiers)) {
    if (auto table = decodeNoteTable(data)) {
      tables.emplace(identifier, std::move(*table));
    } else {
      ++unreadable;
    }
  }
  return tables;
}

}  // namespace

std::optional<RenderedNote> renderNote(NotesDatabaseConnection& connection, int64_t key,
                                       const NoteRenderOptions& options) {
  auto row = NotesDatabaseAccess::fetchNote(connection, key);
  if (!row) return std::nullopt;
  NoteRenderSource source;
  source.id = NotesObjectIdentifier{NotesDatabaseAccess::fetchStoreUUID(connection).value_or(""),
                                    NotesObjectKind::kNote, key}
                  .format();
  source.key = key;
  source.title = std::move(row->title);
  source.preview = std::move(row->preview);
  if (row->bodyData) source.body = *row->bodyData;
  source.bodyOverLimit = row->bodyOverLimit;
  if (NotesDatabaseAccess::isPasswordProtected(connection, key)) {
    RenderedNote locked;
    locked.id = std::move(source.id);
    locked.key = key;
    locked.title = std::move(source.title);
    locked.locked = true;
    return locked;
  }
  return renderNoteSource(connection, source, options);
}

RenderedNote renderNoteSource(NotesDatabaseConnection& connection, const NoteRenderSource& source,
                              const NoteRenderOptions& options) {
  RenderedNote note;
  note.id = source.id;
  note.key = source.key;
  note.title = source.title;
  note.overLimit = source.bodyOverLimit;
  if (note.overLimit) return note;
  if (!source.body.empty()) note.document = decodeNoteDocument(source.body, &note.overLimit);
  if (note.overLimit) return note;
  if (!source.body.empty() && (options.keepLineStyleReading || !note.document)) {
    note.lineStyleReading = decodeNoteBody(source.body, source.key);
  }

  NoteMarkdownOptions markdownOptions;
  markdownOptions.noteLinkTarget = options.noteLinkTarget;
  if (note.document) {
    std::unordered_set<std::string> attachments;
    for (const auto& run : note.document->runs) {
      if (run.attachment && !run.attachment->identifier.empty())
        attachments.insert(run.attachment->identifier);
    }
    const NoteTables tables = source.mayHaveTables
                                  ? readTables(connection, source.key, attachments, note.tablesUnreadable)
                                  : NoteTables();
    // Hashtags and mentions show their text; only a note with attachments has any.
    std::unordered_map<std::string, std::string> inlineTexts;
    if (attachments.size() > tables.size() && source.mayHaveInlineTexts) {
      inlineTexts = NotesDatabaseAccess::fetchInlineAttachmentTexts(connection, source.key);
    }
    markdownOptions.attachmentText = [&](std::string_view identifier) -> std::optional<std::string> {
      const auto it = inlineTexts.find(std::string(identifier));
      if (it == inlineTexts.end()) return std::nullopt;
      return it->second;
    };
    note.markdown = noteToMarkdown(*note.document, tables, markdownOptions);
  } else if (note.lineStyleReading.firstWithText() != nullptr) {
    const auto& identifiers = note.lineStyleReading.attachmentIdentifiers;
    const NoteTables tables =
        source.mayHaveTables ? readTables(connection, source.key, {identifiers.begin(), identifiers.end()},
                                          note.tablesUnreadable)
                             : NoteTables();
    note.markdown = parsedNoteToMarkdown(note.lineStyleReading, tables);
  } else {
    // No readable body: the title and preview are all there is.
    note.fromTitleAndPreview = true;
    note.markdown = "# " + removeControlCharacters(source.title) + "\n";
    if (!source.preview.empty()) note.markdown += "\n" + removeControlCharacters(source.preview) + "\n";
  }
  return note;
}

}  // namespace zephyl::notes_store
