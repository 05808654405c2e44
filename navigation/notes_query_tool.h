// NotesQueryTool: the notes query tool that the assistant's model calls to find
// the user's notes itself. One call searches (by text through the Quick Open
// matcher and its search text cache, by folder, by modification date), counts
// what such a search would find, or reads one note in full. Every note's text
// reaches the model wrapped as untrusted reference data, the whole answer stays
// within kMaximumAnswerBytes (what is cut is marked), and a locked note is
// found by its title but its content is never read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/json_value.h"
#include "navigation/notes_quick_open_service.h"

namespace zephyl::navigation {

struct NotesQueryFoundNote {
  std::string id;  // "x-coredata://" URI
  std::string title;
  std::string excerpt;
};

struct NotesQueryAnswer {
  std::string text;  // what the model reads
  std::vector<NotesQueryFoundNote> notes;
  bool counted = false;                // a count, not a search
  std::optional<std::string> failure;  // the arguments could not be used
};

class NotesQueryTool {
 public:
  static constexpr std::string_view kName = "query_notes";
  static constexpr size_t kMaximumAnswerBytes = 24 * 1024;
  static constexpr int64_t kDefaultLimit = 10;
  static constexpr int64_t kMaximumLimit = 25;
  static constexpr int kExcerptLength = 240;  // characters

  // The full Markdown of the note with this key, nullopt when it cannot be read.
  using ReadNote = std::function<std::optional<std::string>(int64_t noteKey)>;

  // `service` must be refreshed and outlive the tool.
  NotesQueryTool(const NotesQuickOpenService& service, ReadNote readNote)
      : service_(service), readNote_(std::move(readNote)) {}

  // The function tool: {"type": "function", "name", "description", "parameters", "strict"}.
  static core::JSONValue definition();

  NotesQueryAnswer run(const core::JSONValue& arguments) const;

 private:
  NotesQueryAnswer search(const core::JSONValue& arguments, bool count) const;
  NotesQueryAnswer read(const core::JSONValue& arguments) const;

  const NotesQuickOpenService& service_;
  ReadNote readNote_;
};

}  // namespace zephyl::navigation
