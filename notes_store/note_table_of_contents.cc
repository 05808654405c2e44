#include "notes_store/note_table_of_contents.h"

#include <optional>

#include "core/utf8.h"
#include "notes_store/note_paragraph_style.h"

namespace zephyl::notes_store {
namespace {

std::optional<NoteTableOfContentsEntry::Level> levelOf(std::optional<int64_t> styleType) {
  switch (noteParagraphStyle(styleType)) {
    case NoteParagraphStyle::kTitle:
      return NoteTableOfContentsEntry::Level::kTitle;
    case NoteParagraphStyle::kHeading:
      return NoteTableOfContentsEntry::Level::kHeading;
    case NoteParagraphStyle::kSubheading:
      return NoteTableOfContentsEntry::Level::kSubheading;
    default:
      return std::nullopt;
  }
}

std::u32string shownLine(std::u32string_view line) {
  std::u32string out;
  for (const char32_t c : line) {
    if (c != U'\uFFFC' && c != U'\r') out += c;
  }
  const auto blank = [](char32_t c) { return c == U' ' || c == U'\t' || c == U'\u00A0' || c == U'\u2028'; };
  size_t begin = 0;
  size_t end = out.size();
  while (begin < end && blank(out[begin])) ++begin;
  while (end > begin && blank(out[end - 1])) --end;
  return out.substr(begin, end - begin);
}

}  // namespace

std::string_view tableOfContentsLevelName(NoteTableOfContentsEntry::Level level) {
  switch (level) {
    case NoteTableOfContentsEntry::Level::kTitle:
      return "title";
    case NoteTableOfContentsEntry::Level::kHeading:
      return "heading";
    case NoteTableOfContentsEntry::Level::kSubheading:
      return "subheading";
  }
  return {};
}

NoteTableOfContents makeNoteTableOfContents(const NoteDocument& document) {
  NoteTableOfContents contents;
  const std::u32string text = core::decodeUtf8(document.text);
  // Runs measure UTF-16 code units; walk both in step.
  size_t run = 0;
  int64_t runEnd = document.runs.empty() ? 0 : document.runs[0].length;
  int64_t offset = 0;  // UTF-16 offset of text[position]
  int64_t lineNumber = 1;
  size_t position = 0;
  while (position <= text.size()) {
    const size_t lineEnd = std::min(text.find(U'\n', position), text.size());
    while (run < document.runs.size() && offset >= runEnd) {
      ++run;
      if (run < document.runs.size()) runEnd += document.runs[run].length;
    }
    const auto level = run < document.runs.size() ? levelOf(document.runs[run].styleType) : std::nullopt;
    if (level) {
      std::u32string line = shownLine(std::u32string_view(text).substr(position, lineEnd - position));
      if (!line.empty()) contents.entries.push_back({*level, core::encodeUtf8(line), lineNumber});
    }
    for (size_t i = position; i < lineEnd + 1 && i < text.size(); ++i) offset += text[i] > 0xFFFF ? 2 : 1;
    if (lineEnd == text.size()) break;
    position = lineEnd + 1;
    ++lineNumber;
  }
  return contents;
}

}  // namespace zephyl::notes_store
