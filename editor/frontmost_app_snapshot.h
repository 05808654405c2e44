// What is in front when the controller takes a decision, and how Apple Notes
// is recognised among the running applications.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zephyl::editor {

inline constexpr std::string_view kNotesBundleIdentifier = "com.apple.Notes";

// A running application as the workspace reports it.
struct RunningApplication {
  std::optional<std::string> bundleIdentifier;
  std::optional<std::string> localizedName;
  int32_t processIdentifier = 0;
};

struct FrontmostAppSnapshot {
  std::optional<std::string> frontmostBundleIdentifier;
  std::string frontmostAppName;  // "Unknown" when the application has no name
  int32_t processIdentifier = 0;

  static FrontmostAppSnapshot of(const RunningApplication& application) {
    return {application.bundleIdentifier, application.localizedName.value_or("Unknown"),
            application.processIdentifier};
  }

  bool isNotes() const { return frontmostBundleIdentifier == kNotesBundleIdentifier; }

  friend bool operator==(const FrontmostAppSnapshot&, const FrontmostAppSnapshot&) = default;
};

}  // namespace zephyl::editor
