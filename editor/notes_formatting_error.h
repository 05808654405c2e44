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
    formatMenuUnavailable,
    formatMenuItemUnavailable,
    fontMenuUnavailable,
    fontMenuItemUnavailable,
    editMenuUnavailable,
    linkMenuItemUnavailable,
    shortcutPostFailed,
  };

  explicit NotesFormattingError(Code code) : core::Error(std::string(text(code))), code_(code) {}

  Code code() const { return code_; }

  static std::string_view text(Code code) {
    switch (code) {
      case Code::formatMenuUnavailable: return "Notes format menu is unavailable";
      case Code::formatMenuItemUnavailable: return "Notes format menu item is unavailable";
      case Code::fontMenuUnavailable: return "Notes font menu is unavailable";
      case Code::fontMenuItemUnavailable: return "Notes font menu item is unavailable";
      case Code::editMenuUnavailable: return "Notes edit menu is unavailable";
      case Code::linkMenuItemUnavailable: return "Notes link menu item is unavailable";
      case Code::shortcutPostFailed: return "Could not post Notes formatting keyboard shortcut";
    }
    return "";
  }

  // The case whose text is exactly `message`, as a script reports its own error.
  static std::optional<Code> codeForText(std::string_view message) {
    for (Code code : {Code::formatMenuUnavailable, Code::formatMenuItemUnavailable, Code::fontMenuUnavailable,
                      Code::fontMenuItemUnavailable, Code::editMenuUnavailable, Code::linkMenuItemUnavailable,
                      Code::shortcutPostFailed}) {
      if (text(code) == message) return code;
    }
    return std::nullopt;
  }

 private:
  Code code_;
};

}  // namespace zephyl::editor
