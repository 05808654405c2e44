#include "notes_store/note_table_of_contents.h"

#include <gtest/gtest.h>

#include "notes_store/fixtures/note_document_writer.h"

namespace zephyl::notes_store {
namespace {

using Level = NoteTableOfContentsEntry::Level;

NoteDocument document(const std::vector<NoteRunSpec>& runs) {
  return *decodeNoteDocument(encodeNoteDocument(runs));
}

NoteParagraphStyleSpec style(int type) { return NoteParagraphStyleSpec{.styleType = type}; }

TEST(NoteTableOfContents, ListsTitleHeadingsAndSubheadingsWithLineNumbers) {
  const NoteDocument note = document({
      {.text = "Trip 🏔 plan\n", .paragraph = style(0)},
      {.text = "intro line\n"},
      {.text = "Day ", .paragraph = style(1)},
      {.text = "one", .paragraph = style(1), .fontWeight = 1},
      {.text = "\n", .paragraph = style(1)},
      {.text = "  \n", .paragraph = style(2)},  // blank heading line: left out
      {.text = "Morning \xEF\xBF\xBC\n", .paragraph = style(2)},
      {.text = "- item\n", .paragraph = style(100)},
      {.text = "code\n", .paragraph = style(4)},
      {.text = "Last", .paragraph = style(1)},
  });
  const NoteTableOfContents contents = makeNoteTableOfContents(note);
  const std::vector<NoteTableOfContentsEntry> expected{
      {Level::kTitle, "Trip 🏔 plan", 1},
      {Level::kHeading, "Day one", 3},
      {Level::kSubheading, "Morning", 5},
      {Level::kHeading, "Last", 8},
  };
  EXPECT_EQ(contents.entries, expected);
}

TEST(NoteTableOfContents, TextWithoutRunsOrStylesHasNoEntries) {
  EXPECT_TRUE(makeNoteTableOfContents(NoteDocument{"plain\ntext", {}}).entries.empty());
  EXPECT_TRUE(makeNoteTableOfContents(document({{.text = "plain\n"}, {.text = "more"}})).entries.empty());
  EXPECT_TRUE(makeNoteTableOfContents(NoteDocument{}).entries.empty());
}

}  // namespace
}  // namespace zephyl::notes_store
