// One read-only connection to the Notes database, open for the length of one
// operation. NotesDatabaseAccess::withDatabase creates it and closes it; bodies
// only borrow it.
#pragma once

#include <optional>

#include "notes_store/notes_database_statements.h"

// The SQLite connection handle; only the store's sources include sqlite3.h.
struct sqlite3;

namespace zephyl::notes_store {

class NotesDatabaseConnection {
 public:
  explicit NotesDatabaseConnection(sqlite3* handle) : handle_(handle) {}
  NotesDatabaseConnection(const NotesDatabaseConnection&) = delete;
  NotesDatabaseConnection& operator=(const NotesDatabaseConnection&) = delete;

  sqlite3* handle() const { return handle_; }

  // The columns and tables the statements depend on, read once per connection.
  // Throws NotesDatabaseError.
  const NotesSchema& schema();

 private:
  sqlite3* handle_;  // not owned
  std::optional<NotesSchema> schema_;
};

}  // namespace zephyl::notes_store
