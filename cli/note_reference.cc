#include "cli/note_reference.h"

#include <strings.h>

#include <charconv>

#include "cli/cli_context.h"
#include "notes_store/library_exporter.h"
#include "notes_store/notes_database_access.h"

namespace zephyl::cli {

int64_t resolveNoteKey(notes_store::NotesDatabaseConnection& connection, const std::string& reference) {
  using notes_store::NotesDatabaseAccess;
  std::optional<int64_t> key;
  if (reference.starts_with("x-coredata://")) {
    if (reference.find("/ICNote/p") != std::string::npos) key = notes_store::keyFromObjectURI(reference);
  } else {
    int64_t number = 0;
    const auto [end, error] = std::from_chars(reference.data(), reference.data() + reference.size(), number);
    if (error == std::errc() && end == reference.data() + reference.size()) key = number;
  }
  if (!key) {
    for (const auto& note : NotesDatabaseAccess::fetchNoteList(connection)) {
      if (strcasecmp(note.uuid.c_str(), reference.c_str()) == 0) return *notes_store::keyFromObjectURI(note.id);
    }
    throw CliUsageError("No note matches \"" + reference +
                        "\"; give its x-coredata:// URI, its key or its UUID (see zephyl notes --json).");
  }
  if (!NotesDatabaseAccess::fetchNote(connection, *key)) {
    throw CliUsageError("No note has the key " + std::to_string(*key) + ".");
  }
  return *key;
}

}  // namespace zephyl::cli
