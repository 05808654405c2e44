// A prepared statement that is finalized on every path, with the column readers
// the Notes statements need.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/apple_time.h"

namespace zephyl::notes_store::internal {

// sqlite3_errmsg of the connection, or "unknown SQLite error" when it has none.
std::string connectionErrorMessage(sqlite3* handle);

class SqliteStatement {
 public:
  // Prepares `sql` (sqlite3_prepare_v2, length -1). Throws NotesDatabaseError.
  SqliteStatement(sqlite3* handle, const std::string& sql);
  ~SqliteStatement();
  SqliteStatement(const SqliteStatement&) = delete;
  SqliteStatement& operator=(const SqliteStatement&) = delete;

  // Positions count from 1. Throw NotesDatabaseError.
  void bindInt64(int position, int64_t value);
  void bindText(int position, std::string_view value);

  // True for a row, false when done. Throws NotesDatabaseError on anything else.
  bool step();

  bool isNull(int column) const;
  int64_t int64Column(int column) const;
  std::optional<int64_t> optionalInt64Column(int column) const;
  // NULL reads as the empty string.
  std::string textColumn(int column) const;
  // NULL reads as nullopt.
  std::optional<std::string> optionalTextColumn(int column) const;
  // NULL, text, a blob and a number outside the years 1 to 9999 read as
  // nullopt, never the reference date.
  std::optional<core::TimePoint> timeColumn(int column) const;
  // A copy of the bytes; NULL or zero-length reads as nullopt.
  std::optional<std::string> blobColumn(int column) const;

 private:
  sqlite3* handle_;
  sqlite3_stmt* statement_ = nullptr;
};

}  // namespace zephyl::notes_store::internal
