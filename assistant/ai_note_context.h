// AINoteContext: what the assistant captured of the note beside it when a turn
// started; AINoteContextSnapshot adds the note's images, as stored with a chat.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "assistant/chat_stored_image.h"
#include "core/apple_time.h"

namespace zephyl::assistant {

struct AINoteContext {
  std::string appName{};  // the frontmost application
  bool isAppleNotesActive = false;
  std::string selectedText{};
  std::string currentLine{};
  std::string noteText{};  // the full visible text
  std::optional<std::string> noteID{};
  std::optional<std::string> noteTitle{};
  std::optional<std::string> sourceBundleID{};
  core::TimePoint capturedAt{};

  bool operator==(const AINoteContext&) const = default;
};

struct AINoteContextSnapshot {
  AINoteContext context;
  std::vector<ChatStoredImage> images;  // in document order, files of the session's image folder

  bool operator==(const AINoteContextSnapshot&) const = default;
};

}  // namespace zephyl::assistant
