// NoteTableOfContents: the outline of a note — its title, heading and subheading
// lines, each with its line number — read from the paragraph styles of the note
// document, so that a long note can be navigated by its structure.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "notes_store/note_document.h"

namespace zephyl::notes_store {

struct NoteTableOfContentsEntry {
  enum class Level { kTitle, kHeading, kSubheading };
  Level level = Level::kHeading;
  std::string text;        // the line, trimmed, attachment markers removed
  int64_t lineNumber = 0;  // 1 for the note's first line
  bool operator==(const NoteTableOfContentsEntry&) const = default;
};

struct NoteTableOfContents {
  std::vector<NoteTableOfContentsEntry> entries;
};

// The entries in line order. A line's style is that of the run its first
// character belongs to; blank styled lines are left out.
NoteTableOfContents makeNoteTableOfContents(const NoteDocument& document);

// "title", "heading", "subheading".
std::string_view tableOfContentsLevelName(NoteTableOfContentsEntry::Level level);

}  // namespace zephyl::notes_store
