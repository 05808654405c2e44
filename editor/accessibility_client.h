// What the keyboard monitor asks of the accessibility system: whether this
// process is trusted, and which application holds keyboard focus.
#pragma once

#include <cstdint>
#include <optional>

namespace zephyl::editor {

class AccessibilityClient {
 public:
  virtual ~AccessibilityClient() = default;

  // True when the user allowed this process to use accessibility. Any thread.
  virtual bool isProcessTrusted() = 0;

  // The process id of the application that holds keyboard focus, or nullopt when
  // it cannot be read (a failed call or an id below 1). Any thread.
  virtual std::optional<int32_t> focusedApplicationProcessIdentifier() = 0;
};

}  // namespace zephyl::editor
