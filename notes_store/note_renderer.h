// A note as every command shows it: its row, the locked check, the decoded
// document with its tables and inline attachment texts, and the fallbacks when
// the body cannot be read in full (its line styles alone, then the title and
// preview). `show`, `toc`, export, quick-open and the assistant's note context
// all read a note through here, so that they render it alike.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "notes_store/note_body_decoder.h"
#include "notes_store/note_document.h"
#include "notes_store/notes_database_connection.h"

namespace zephyl::notes_store {

struct NoteRenderOptions {
  // The Markdown link target for a link to another note, given the target's
  // identifier as the link spells it; unset, or nullopt, keeps the link as it is.
  std::function<std::optional<std::string>(std::string_view noteIdentifier)> noteLinkTarget;
  // Also read the body's line styles when the full document is readable (for
  // `show --json`); otherwise they are read only as a fallback.
  bool keepLineStyleReading = false;
};

struct RenderedNote {
  std::string id;  // "x-coredata://<store>/ICNote/p<key>"
  int64_t key = 0;
  std::string title;
  bool locked = false;     // password-protected: nothing below is read
  bool overLimit = false;  // the body is past kMaxInflatedNoteBodyBytes: no text
  // Written from the title and preview alone: the body has no readable text.
  bool fromTitleAndPreview = false;
  size_t tablesUnreadable = 0;  // tables shown as placeholders because they could not be decoded
  std::optional<NoteDocument> document;
  // The line-style reading of the body, when it was made (see keepLineStyleReading).
  NotesDatabaseParsedNote lineStyleReading;
  std::string markdown;
};

// What a caller that has fetched a note's row and body itself (export, in
// batches) hands over; the locked check is its own.
struct NoteRenderSource {
  std::string id;
  int64_t key = 0;
  std::string title;
  std::string preview;
  std::string_view body;  // as stored; empty when the note has none
  bool bodyOverLimit = false;
  // False when the caller knows the note has no tables, or no inline attachment
  // texts: their query is then left out.
  bool mayHaveTables = true;
  bool mayHaveInlineTexts = true;
};

// The note with this key, rendered; nullopt when no note has it. A locked note
// comes back with `locked` set and nothing read. Throws NotesDatabaseError.
std::optional<RenderedNote> renderNote(NotesDatabaseConnection& connection, int64_t key,
                                       const NoteRenderOptions& options = {});

// The same from a row and body at hand. Throws NotesDatabaseError.
RenderedNote renderNoteSource(NotesDatabaseConnection& connection, const NoteRenderSource& source,
                              const NoteRenderOptions& options = {});

}  // namespace zephyl::notes_store
