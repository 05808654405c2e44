// Support for tests that write libraries: a temporary folder that is removed
// afterwards and a read-only view of a written database. Test use only.
#pragma once

#include <sqlite3.h>
#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "platform/testing/test_folder.h"

namespace zephyl::notes_store::internal {

using TestFolder = platform::testing::TestFolder;

// A read-only connection; every query result is text, NULL reading as "NULL".
class TestDatabase {
 public:
  explicit TestDatabase(const std::string& path) {
    if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
      std::string message = sqlite3_errmsg(db_);
      sqlite3_close(db_);
      throw std::runtime_error("cannot open " + path + ": " + message);
    }
  }
  TestDatabase(const TestDatabase&) = delete;
  TestDatabase& operator=(const TestDatabase&) = delete;
  ~TestDatabase() { sqlite3_close(db_); }

  std::vector<std::vector<std::string>> rows(const std::string& sql) const {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
      throw std::runtime_error(sql + ": " + sqlite3_errmsg(db_));
    }
    std::vector<std::vector<std::string>> result;
    while (sqlite3_step(statement) == SQLITE_ROW) {
      std::vector<std::string> row;
      for (int i = 0; i < sqlite3_column_count(statement); ++i) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_blob(statement, i));
        row.push_back(sqlite3_column_type(statement, i) == SQLITE_NULL
                          ? "NULL"
                          : std::string(text == nullptr ? "" : text,
                                        static_cast<size_t>(sqlite3_column_bytes(statement, i))));
      }
      result.push_back(std::move(row));
    }
    sqlite3_finalize(statement);
    return result;
  }

  // The first column of every row.
  std::vector<std::string> column(const std::string& sql) const {
    std::vector<std::string> result;
    for (std::vector<std::string>& row : rows(sql)) result.push_back(std::move(row.at(0)));
    return result;
  }

  // The first column of the first row.
  std::string value(const std::string& sql) const { return column(sql).at(0); }

  long long count(const std::string& sql) const { return std::stoll(value(sql)); }

 private:
  sqlite3* db_ = nullptr;
};

}  // namespace zephyl::notes_store::internal
