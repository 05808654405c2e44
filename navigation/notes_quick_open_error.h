// The error of Quick Open: each case has one fixed text; SQLite's message, when
// there is one, travels beside it as `detail`.
#pragma once

#include <string>
#include <string_view>

#include "core/error.h"

namespace zephyl::navigation {

class NotesQuickOpenError : public core::Error {
 public:
  enum class Code {
    kDatabaseUnavailable,
    kNotesDatabaseAccessRequired,
    kNoteURLUnavailable,
    kNoteOpenFailed,
    kFolderOpenFailed,
  };

  explicit NotesQuickOpenError(Code code, std::string detail = {})
      : core::Error(std::string(text(code))), code_(code), detail_(std::move(detail)) {}

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kDatabaseUnavailable:
        return "Zephyl could not read the Apple Notes database.";
      case Code::kNotesDatabaseAccessRequired:
        return "Grant Apple Notes database access in Settings to use Quick open.";
      case Code::kNoteURLUnavailable:
        return "Zephyl could not open this note because its Apple Notes link is missing.";
      case Code::kNoteOpenFailed:
        return "Zephyl could not open this note in Apple Notes.";
      case Code::kFolderOpenFailed:
        return "Zephyl could not open this folder in Apple Notes.";
    }
    return {};
  }

  Code code() const { return code_; }
  const std::string& detail() const { return detail_; }

 private:
  Code code_;
  std::string detail_;
};

}  // namespace zephyl::navigation
