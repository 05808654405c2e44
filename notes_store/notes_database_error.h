// The error of every Notes database operation: SQLite's own message, or one of
// the two fallback texts when SQLite gives none.
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

  explicit NotesDatabaseError(std::string message)
      : core::Error("Zephyl could not read the Apple Notes database: " + message),
        message_(std::move(message)) {}

  const std::string& message() const { return message_; }

 private:
  std::string message_;
};

}  // namespace zephyl::notes_store
