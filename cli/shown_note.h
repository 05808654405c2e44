// One note read for showing: its identifier, title and Markdown, as `zephyl
// show` prints it and `zephyl ask` sends it.
#pragma once

#include <string>

#include "notes_store/note_body_decoder.h"
#include "notes_store/notes_database_connection.h"

namespace zephyl::cli {

struct ShownNote {
  std::string id;
  std::string title;
  bool locked = false;
  bool overLimit = false;  // the body inflates past the decoder's bound; no text
  notes_store::NotesDatabaseParsedNote parsed;
  std::string markdown;
};

// The note that `reference` names (URI, key or UUID) with its Markdown; a
// locked note comes back with `locked` set and no text. Throws CliUsageError
// when nothing matches.
ShownNote loadShownNote(notes_store::NotesDatabaseConnection& connection, const std::string& reference);

}  // namespace zephyl::cli
