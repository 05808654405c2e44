// The real Apple Notes libraries of the shared test data, for decoder tests. Each
// is copied to a fresh temporary folder first: even a read-only open of a WAL
// database creates its -shm and -wal files beside it, and the originals must stay
// untouched. Test use only.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace zephyl::notes_store::internal {

inline const char* const kRealLibraryNames[] = {"NoteStore-macOS-13.sqlite", "NoteStore-macOS-15.sqlite"};

class RealNotesLibrary {
 public:
  // The folder of the real libraries, or nullopt when the shared test data is absent.
  static std::optional<std::filesystem::path> sourceFolder() {
    const std::filesystem::path folder = std::filesystem::path(ZEPHYL_SHARED_TESTDATA) / "apple-notes";
    if (!std::filesystem::exists(folder)) return std::nullopt;
    return folder;
  }

  // Copies `name` from `folder` and opens the copy read-only. Throws std::runtime_error.
  RealNotesLibrary(const std::filesystem::path& folder, const std::string& name) {
    std::string pattern = (std::filesystem::temp_directory_path() / "zephyl-real-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    directory_ = pattern;
    const std::filesystem::path copy = directory_ / "NoteStore.sqlite";
    std::filesystem::copy_file(folder / name, copy);
    if (sqlite3_open_v2(copy.c_str(), &db_, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
      const std::string message = sqlite3_errmsg(db_);
      sqlite3_close(db_);
      removeDirectory();
      throw std::runtime_error("cannot open " + copy.string() + ": " + message);
    }
  }
  RealNotesLibrary(const RealNotesLibrary&) = delete;
  RealNotesLibrary& operator=(const RealNotesLibrary&) = delete;
  ~RealNotesLibrary() {
    sqlite3_close(db_);
    removeDirectory();
  }

  // Every row of `sql`, each column as its bytes; NULL as nullopt.
  std::vector<std::vector<std::optional<std::string>>> rows(const std::string& sql) const {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
      throw std::runtime_error(sql + ": " + sqlite3_errmsg(db_));
    }
    std::vector<std::vector<std::optional<std::string>>> result;
    while (sqlite3_step(statement) == SQLITE_ROW) {
      std::vector<std::optional<std::string>> row;
      for (int i = 0; i < sqlite3_column_count(statement); ++i) {
        if (sqlite3_column_type(statement, i) == SQLITE_NULL) {
          row.emplace_back();
          continue;
        }
        const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement, i));
        row.emplace_back(std::string(bytes == nullptr ? "" : bytes,
                                     static_cast<size_t>(sqlite3_column_bytes(statement, i))));
      }
      result.push_back(std::move(row));
    }
    sqlite3_finalize(statement);
    return result;
  }

 private:
  void removeDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }

  std::filesystem::path directory_;
  sqlite3* db_ = nullptr;
};

// A test run once per real library (its name the parameter), skipped when the
// shared test data is absent.
class RealLibraryTest : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    const auto folder = RealNotesLibrary::sourceFolder();
    if (!folder) GTEST_SKIP() << "shared test data not found at " << ZEPHYL_SHARED_TESTDATA;
    library_.emplace(*folder, GetParam());
  }

  std::optional<RealNotesLibrary> library_;
};

}  // namespace zephyl::notes_store::internal
