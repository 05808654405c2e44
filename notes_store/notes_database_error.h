// The error of every Notes database operation: SQLite's own message, one of
// the two fallback texts when SQLite gives none, or a folder that cannot be read.
#pragma once

#include <string>

#include "core/error.h"

namespace zephyl::notes_store {

class NotesDatabaseError : public core::Error {
 public:
  // Used when the sandbox refused the file: no connection handle came back.
  static constexpr const char* kAuthorizationDenied = "authorization denied";
  // Used when a connection exists but SQLite has no text for the failure.
  static constexpr const char* kUnknownSQLiteError = "unknown SQLite error";

  // Used when a folder on the way to the file may not be searched: stat fails with
  // EACCES, so whether the file is there cannot be told.
  static std::string folderUnreadable(const std::string& folder) {
    return "the folder " + folder + " cannot be read (permission denied)";
  }

  explicit NotesDatabaseError(std::string message)
      : core::Error("Zephyl could not read the Apple Notes database: " + message),
        message_(std::move(message)) {}

  const std::string& message() const { return message_; }

 private:
  std::string message_;
};

}  // namespace zephyl::notes_store
