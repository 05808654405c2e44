#include "notes_store/note_table_of_contents.h"

#include <gtest/gtest.h>

#include "notes_store/fixtures/note_document_writer.h"

namespace zephyl::notes_store {
namespace {

using Level = NoteTableOfContentsEntry::Level;

NoteDocument document(const std::vector<NoteRunSpec>& runs) {
  return *decodeNoteDocument(encodeNoteDocument(runs));
}

NoteParagraphStyleSpec style(NoteParagraphStyle kind) { return {.style = kind}; }

TEST(NoteTableOfContents, ListsTitleHeadingsAndSubheadingsWithLineNumbers) {
  const NoteDocument note = document({
      {.text = "Trip 🏔 plan\n", .paragraph = style(NoteParagraphStyle::kTitle)},
      {.text = "intro line\n"},
      {.text = "Day ", .paragraph = style(NoteParagraphStyle::kHeading)},
      {.text = "one", .paragraph = style(NoteParagraphStyle::kHeading), .fontWeight = 1},
      {.text = "\n", .paragraph = style(NoteParagraphStyle::kHeading)},
      {.text = "  \n", .paragraph = style(NoteParagraphStyle::kSubheading)},  // blank heading line: left out
      {.text = "Morning \xEF\xBF\xBC\n", .paragraph = style(NoteParagraphStyle::kSubheading)},
      {.text = "- item\n", .paragraph = style(NoteParagraphStyle::kDottedList)},
      {.text = "code\n", .paragraph = style(NoteParagraphStyle::kMonospaced)},
      {.text = "Last", .paragraph = style(NoteParagraphStyle::kHeading)},
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
