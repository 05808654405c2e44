// Why applying a formatting command to Apple Notes failed. The menu errors are
// also raised, with the same texts, by the System Events scripts themselves.
#pragma once

#include <optional>
#include <string_view>

#include "core/error.h"

namespace zephyl::editor {

class NotesFormattingError : public core::Error {
 public:
  enum class Code {
    kFormatMenuUnavailable,
    kFormatMenuItemUnavailable,
    kFontMenuUnavailable,
    kFontMenuItemUnavailable,
    kEditMenuUnavailable,
    kLinkMenuItemUnavailable,
    kShortcutPostFailed,
  };

  explicit NotesFormattingError(Code code) : core::Error(std::string(text(code))), code_(code) {}

  Code code() const { return code_; }

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kFormatMenuUnavailable:
        return "Notes format menu is unavailable";
      case Code::kFormatMenuItemUnavailable:
        return "Notes format menu item is unavailable";
      case Code::kFontMenuUnavailable:
        return "Notes font menu is unavailable";
      case Code::kFontMenuItemUnavailable:
        return "Notes font menu item is unavailable";
      case Code::kEditMenuUnavailable:
        return "Notes edit menu is unavailable";
      case Code::kLinkMenuItemUnavailable:
        return "Notes link menu item is unavailable";
      case Code::kShortcutPostFailed:
        return "Could not post Notes formatting keyboard shortcut";
    }
    return "";
  }

  // The case whose text is exactly `message`, as a script reports its own error.
  static std::optional<Code> codeForText(std::string_view message) {
    for (Code code : {Code::kFormatMenuUnavailable, Code::kFormatMenuItemUnavailable,
                      Code::kFontMenuUnavailable, Code::kFontMenuItemUnavailable, Code::kEditMenuUnavailable,
                      Code::kLinkMenuItemUnavailable, Code::kShortcutPostFailed}) {
      if (text(code) == message) return code;
    }
    return std::nullopt;
  }

 private:
  Code code_;
};

}  // namespace zephyl::editor
