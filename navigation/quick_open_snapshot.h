// QuickOpenSnapshot: every listed note and folder of the Notes library at one
// moment, as Quick Open searches them. Notes are kept in the order of the note
// comparator (newest first); folders in the folder tree's order.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/apple_time.h"

namespace zephyl::navigation {

// The localised word shown for, and matched against, a folder without a name.
inline constexpr std::string_view kUntitledFolderTitle = "Notes";

struct QuickOpenNote {
  std::string noteURLIdentifier{};  // "x-coredata://<store>/ICNote/p<key>"
  int64_t noteKey = 0;
  std::string uuid{};
  std::string title{};
  // The snippet Notes stores; emptied once the note's search text is cached
  // (that text starts from it or holds the whole note).
  std::string previewText{};
  std::string folderID{};    // "x-coredata://<store>/ICFolder/p<key>"
  std::string folderName{};  // "Notes" when the folder has no name
  std::string folderPath{};  // "Account › Folder › Child"
  std::optional<int64_t> noteDataPK{};
  bool isPasswordProtected = false;
  // Whether the cached search text covers the whole note (false when only the
  // preview was at hand: a locked note, or one without a readable body). Beside
  // the other flag, so that 100,000 notes pad one word less each.
  bool searchTextIsComplete = false;
  std::optional<core::TimePoint> createdAt{};
  std::optional<core::TimePoint> modifiedAt{};
};

struct QuickOpenFolder {
  std::string id;  // "x-coredata://<store>/ICFolder/p<key>"
  std::string title{};
  std::vector<std::string> pathComponents;  // account (when named), then each folder
  std::optional<core::TimePoint> modifiedAt;
};

struct QuickOpenSnapshot {
  std::vector<QuickOpenNote> notes;
  std::vector<QuickOpenFolder> folders;
};

// The note comparator: dated notes first, later dates first, equal dates left as
// they are (callers sort stably); undated notes by title, ignoring case.
bool quickOpenNoteComesBefore(const QuickOpenNote& a, const QuickOpenNote& b);

}  // namespace zephyl::navigation
