#include "cli/note_reference.h"

#include <strings.h>

#include <charconv>

#include "cli/cli_context.h"
#include "notes_store/notes_database_access.h"
#include "notes_store/notes_object_identifier.h"

namespace zephyl::cli {

int64_t resolveNoteKey(notes_store::NotesDatabaseConnection& connection, const std::string& reference) {
  std::optional<int64_t> number;
  int64_t parsed = 0;
  const auto [end, error] = std::from_chars(reference.data(), reference.data() + reference.size(), parsed);
  if (error == std::errc() && end == reference.data() + reference.size()) number = parsed;
  // Only what `notes` lists: not a folder's key, a note in Recently Deleted or a
  // URI of another store.
  for (const auto& note : notes_store::NotesDatabaseAccess::fetchNoteList(connection)) {
    const std::optional<int64_t> key = notes_store::notesObjectKey(note.id);
    if (!key) continue;
    if ((number && *key == *number) || strcasecmp(note.id.c_str(), reference.c_str()) == 0 ||
        strcasecmp(note.uuid.c_str(), reference.c_str()) == 0) {
      return *key;
    }
  }
  if (number) throw CliUsageError("No note has the key " + std::to_string(*number) + ".");
  throw CliUsageError("No note matches \"" + reference +
                      "\"; give its x-coredata:// URI, its key or its UUID (see zephyl notes --json).");
}

notes_store::RenderedNote renderReferencedNote(notes_store::NotesDatabaseConnection& connection,
                                               const std::string& reference,
                                               const notes_store::NoteRenderOptions& options) {
  const int64_t key = resolveNoteKey(connection, reference);
  auto note = notes_store::renderNote(connection, key, options);
  // Listed a moment ago, gone now: as if it had never matched.
  if (!note) throw CliUsageError("No note has the key " + std::to_string(key) + ".");
  return std::move(*note);
}

}  // namespace zephyl::cli
