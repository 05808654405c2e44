// The paragraph styles of a note: the numbers Notes stores for them (attribute
// run field 2, field 1) and the Markdown line prefix each becomes. The body
// decoder, the Markdown conversion and the HTML of templates all name a style
// through this enumeration; the numbers appear nowhere else.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace zephyl::notes_store {

enum class NoteParagraphStyle {
  kBody,
  kTitle,
  kHeading,
  kSubheading,
  kMonospaced,
  kDottedList,
  kDashedList,
  kNumberedList,
  kChecklist,
};

// The style a stored style type names; kBody for none and for a number Notes
// does not use (such a line is plain text, and may be a quote).
constexpr NoteParagraphStyle noteParagraphStyle(std::optional<int64_t> styleType) {
  if (!styleType) return NoteParagraphStyle::kBody;
  switch (*styleType) {
    case 0:
      return NoteParagraphStyle::kTitle;
    case 1:
      return NoteParagraphStyle::kHeading;
    case 2:
      return NoteParagraphStyle::kSubheading;
    case 4:
      return NoteParagraphStyle::kMonospaced;
    case 100:
      return NoteParagraphStyle::kDottedList;
    case 101:
      return NoteParagraphStyle::kDashedList;
    case 102:
      return NoteParagraphStyle::kNumberedList;
    case 103:
      return NoteParagraphStyle::kChecklist;
    default:
      return NoteParagraphStyle::kBody;
  }
}

// The number stored for a style; nullopt for kBody, which stores none.
constexpr std::optional<int64_t> noteParagraphStyleType(NoteParagraphStyle style) {
  switch (style) {
    case NoteParagraphStyle::kBody:
      return std::nullopt;
    case NoteParagraphStyle::kTitle:
      return 0;
    case NoteParagraphStyle::kHeading:
      return 1;
    case NoteParagraphStyle::kSubheading:
      return 2;
    case NoteParagraphStyle::kMonospaced:
      return 4;
    case NoteParagraphStyle::kDottedList:
      return 100;
    case NoteParagraphStyle::kDashedList:
      return 101;
    case NoteParagraphStyle::kNumberedList:
      return 102;
    case NoteParagraphStyle::kChecklist:
      return 103;
  }
  return std::nullopt;
}

constexpr bool isListStyle(NoteParagraphStyle style) {
  return style == NoteParagraphStyle::kDottedList || style == NoteParagraphStyle::kDashedList ||
         style == NoteParagraphStyle::kNumberedList || style == NoteParagraphStyle::kChecklist;
}

// The Markdown line prefix of a style ("## ", "- [x] "); empty for body lines
// and for monospaced ones, which are fenced instead.
constexpr std::string_view markdownLinePrefix(NoteParagraphStyle style, bool checked) {
  switch (style) {
    case NoteParagraphStyle::kTitle:
      return "# ";
    case NoteParagraphStyle::kHeading:
      return "## ";
    case NoteParagraphStyle::kSubheading:
      return "### ";
    case NoteParagraphStyle::kDottedList:
    case NoteParagraphStyle::kDashedList:
      return "- ";
    case NoteParagraphStyle::kNumberedList:
      return "1. ";
    case NoteParagraphStyle::kChecklist:
      return checked ? "- [x] " : "- [ ] ";
    case NoteParagraphStyle::kBody:
    case NoteParagraphStyle::kMonospaced:
      return "";
  }
  return "";
}

}  // namespace zephyl::notes_store
