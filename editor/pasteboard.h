// The general pasteboard (clipboard): read whole, written whole, so that a
// paste can put the previous contents back afterwards.
#pragma once

#include <string>
#include <vector>

#include "core/error.h"

namespace zephyl::editor {

inline constexpr std::string_view kPasteboardHTMLType = "public.html";
inline constexpr std::string_view kPasteboardPlainTextType = "public.utf8-plain-text";

// One representation of the pasteboard's contents: a type identifier and its bytes.
struct PasteboardItem {
  std::string type;
  std::string data;
  friend bool operator==(const PasteboardItem&, const PasteboardItem&) = default;
};

class PasteboardError : public core::Error {
 public:
  enum class Code { kUnavailable, kWriteFailed };
  explicit PasteboardError(Code code) : core::Error(std::string(text(code))), code_(code) {}
  Code code() const { return code_; }
  static std::string_view text(Code code) {
    switch (code) {
      case Code::kUnavailable:
        return "The pasteboard is unavailable on this system";
      case Code::kWriteFailed:
        return "Could not write to the pasteboard";
    }
    return "";
  }

 private:
  Code code_;
};

class Pasteboard {
 public:
  virtual ~Pasteboard() = default;

  // Every representation now on the pasteboard (empty when it is empty).
  // Throws PasteboardError.
  virtual std::vector<PasteboardItem> contents() = 0;

  // Replaces the contents with `items`. Throws PasteboardError.
  virtual void setContents(const std::vector<PasteboardItem>& items) = 0;
};

}  // namespace zephyl::editor
