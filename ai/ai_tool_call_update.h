// AIToolCallUpdate: the state of one tool call shown while an answer streams.
// Updates carry the call's id; a later update replaces an earlier one.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zephyl::ai {

enum class AIToolKind { kWebSearch, kWebFetch, kImageGeneration, kNoteSearch, kNoteCount };
enum class AIToolCallStatus { kRunning, kCompleted, kFailed, kCancelled };

constexpr std::string_view rawValue(AIToolKind kind) {
  switch (kind) {
    case AIToolKind::kWebSearch:
      return "webSearch";
    case AIToolKind::kWebFetch:
      return "webFetch";
    case AIToolKind::kImageGeneration:
      return "imageGeneration";
    case AIToolKind::kNoteSearch:
      return "noteSearch";
    case AIToolKind::kNoteCount:
      return "noteCount";
  }
  return {};
}

constexpr std::string_view rawValue(AIToolCallStatus status) {
  switch (status) {
    case AIToolCallStatus::kRunning:
      return "running";
    case AIToolCallStatus::kCompleted:
      return "completed";
    case AIToolCallStatus::kFailed:
      return "failed";
    case AIToolCallStatus::kCancelled:
      return "cancelled";
  }
  return {};
}

// A note that the notes query tool found.
struct AINoteSource {
  std::string noteID;  // "x-coredata://" URI
  std::string title;

  bool operator==(const AINoteSource&) const = default;
};

struct AIToolCallUpdate {
  std::string id;
  AIToolKind kind = AIToolKind::kWebSearch;
  AIToolCallStatus status = AIToolCallStatus::kRunning;
  std::optional<std::string> query;
  std::optional<std::string> failureReason;
  std::vector<std::string> urls;        // fetched or requested
  std::vector<std::string> sourceURLs;  // what a search returned
  std::vector<AINoteSource> noteSources;
  std::vector<std::string> noteExcerpts;  // one per note source

  bool operator==(const AIToolCallUpdate&) const = default;
};

}  // namespace zephyl::ai
