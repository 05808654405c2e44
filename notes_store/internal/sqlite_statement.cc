#include "notes_store/internal/sqlite_statement.h"

#include "notes_store/notes_database_error.h"

namespace zephyl::notes_store::internal {

std::string connectionErrorMessage(sqlite3* handle) {
  const char* message = handle == nullptr ? nullptr : sqlite3_errmsg(handle);
  if (message == nullptr || *message == '\0') return NotesDatabaseError::kUnknownSQLiteError;
  return message;
}

SqliteStatement::SqliteStatement(sqlite3* handle, const std::string& sql) : handle_(handle) {
  if (sqlite3_prepare_v2(handle_, sql.c_str(), -1, &statement_, nullptr) != SQLITE_OK) {
    std::string message = connectionErrorMessage(handle_);
    sqlite3_finalize(statement_);
    statement_ = nullptr;
    throw NotesDatabaseError(message);
  }
}

SqliteStatement::~SqliteStatement() { sqlite3_finalize(statement_); }

void SqliteStatement::bindInt64(int position, int64_t value) {
  if (sqlite3_bind_int64(statement_, position, value) != SQLITE_OK) {
    throw NotesDatabaseError(connectionErrorMessage(handle_));
  }
}

void SqliteStatement::bindText(int position, std::string_view value) {
  if (sqlite3_bind_text(statement_, position, value.data(), static_cast<int>(value.size()),
                        SQLITE_TRANSIENT) != SQLITE_OK) {
    throw NotesDatabaseError(connectionErrorMessage(handle_));
  }
}

bool SqliteStatement::step() {
  const int result = sqlite3_step(statement_);
  if (result == SQLITE_ROW) return true;
  if (result == SQLITE_DONE) return false;
  throw NotesDatabaseError(connectionErrorMessage(handle_));
}

bool SqliteStatement::isNull(int column) const {
  return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

int64_t SqliteStatement::int64Column(int column) const { return sqlite3_column_int64(statement_, column); }

std::optional<int64_t> SqliteStatement::optionalInt64Column(int column) const {
  if (isNull(column)) return std::nullopt;
  return sqlite3_column_int64(statement_, column);
}

std::string SqliteStatement::textColumn(int column) const {
  const unsigned char* text = sqlite3_column_text(statement_, column);
  if (text == nullptr) return {};
  return std::string(reinterpret_cast<const char*>(text),
                     static_cast<size_t>(sqlite3_column_bytes(statement_, column)));
}

std::optional<std::string> SqliteStatement::optionalTextColumn(int column) const {
  if (isNull(column)) return std::nullopt;
  return textColumn(column);
}

std::optional<core::TimePoint> SqliteStatement::timeColumn(int column) const {
  // Text or a blob in a date column is no date (SQLite would read it as 0).
  const int type = sqlite3_column_type(statement_, column);
  if (type != SQLITE_INTEGER && type != SQLITE_FLOAT) return std::nullopt;
  return core::timeFromAppleSeconds(sqlite3_column_double(statement_, column));
}

std::optional<std::string> SqliteStatement::blobColumn(int column) const {
  const void* bytes = sqlite3_column_blob(statement_, column);
  const int size = sqlite3_column_bytes(statement_, column);
  if (bytes == nullptr || size <= 0) return std::nullopt;
  return std::string(static_cast<const char*>(bytes), static_cast<size_t>(size));
}

}  // namespace zephyl::notes_store::internal
