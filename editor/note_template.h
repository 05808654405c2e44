// A note template: an ordinary Apple Notes note kept in a root folder named
// "Templates", read from the Notes database or through Notes scripting, and
// pasted into a note after its placeholders are expanded.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/apple_time.h"

namespace zephyl::editor {

inline constexpr std::string_view kUntitledTemplateTitle = "Untitled Template";

struct NoteTemplate {
  std::string title;         // as Notes has it; may be empty
  std::string displayTitle;  // the title shown: `title`, or "Untitled Template"
  std::string summary;
  std::string htmlBody;  // Notes HTML
  std::string folderID;  // the folder's key (database) or script id / "account:folder"
  std::string folderName;
  std::string accountName;
  std::string noteID;
  std::optional<core::TimePoint> modifiedAt;

  friend bool operator==(const NoteTemplate&, const NoteTemplate&) = default;

  // The title to show for a note titled `title`: the title without surrounding
  // white space, or "Untitled Template" when nothing is left.
  static std::string displayTitleFor(std::string_view title);
};

}  // namespace zephyl::editor
