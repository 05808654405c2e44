// Resolves the NOTE argument of a command: a note's "x-coredata://" URI, its
// integer key, or its UUID (any case).
#pragma once

#include <cstdint>
#include <string>

#include "notes_store/note_renderer.h"
#include "notes_store/notes_database_connection.h"

namespace zephyl::cli {

// The note's key. Throws CliUsageError when nothing in the library matches.
int64_t resolveNoteKey(notes_store::NotesDatabaseConnection& connection, const std::string& reference);

// The note that `reference` names, rendered (a locked note comes back locked,
// unread). Throws CliUsageError when nothing in the library matches.
notes_store::RenderedNote renderReferencedNote(notes_store::NotesDatabaseConnection& connection,
                                               const std::string& reference,
                                               const notes_store::NoteRenderOptions& options = {});

}  // namespace zephyl::cli
