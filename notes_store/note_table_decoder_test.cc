#include "notes_store/note_table_decoder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "notes_store/fixtures/note_document_writer.h"
#include "notes_store/internal/real_library_test_support.h"

namespace zephyl::notes_store {
namespace {

using Grid = std::vector<std::vector<std::string>>;

Grid textsOf(const NotesTable& table) {
  Grid grid;
  for (const std::vector<NoteDocument>& row : table.rows) {
    grid.emplace_back();
    for (const NoteDocument& cell : row) grid.back().push_back(cell.text);
  }
  return grid;
}

TEST(DecodeNoteTable, ReadsWhatTheWriterWritesInEachLayout) {
  struct Case {
    const char* name;
    Grid written;
    NoteTableLayout layout;
    std::optional<Grid> expected;  // nullopt: no table
    bool rightToLeft = false;
  };
  const std::vector<Case> cases = {
      {"one cell", {{"only"}}, {}, Grid{{"only"}}},
      {"two by three", {{"a", "b", "c"}, {"d", "e", "f"}}, {}, Grid{{"a", "b", "c"}, {"d", "e", "f"}}},
      {"ragged rows leave empty cells", {{"a", "b", "c"}, {"d"}}, {}, Grid{{"a", "b", "c"}, {"d", "", ""}}},
      {"empty texts", {{"", "x"}, {"", ""}}, {}, Grid{{"", "x"}, {"", ""}}},
      {"right to left reverses each row",
       {{"a", "b", "c"}, {"d", "e", "f"}},
       {.rightToLeft = true},
       Grid{{"c", "b", "a"}, {"f", "e", "d"}},
       true},
      {"multibyte cells",
       {{"caf\xC3\xA9", "\xF0\x9F\x98\x80"}},
       {},
       Grid{{"caf\xC3\xA9", "\xF0\x9F\x98\x80"}}},
      {"array order, not entry order, and other vocabulary indices",
       {{"r0c0", "r0c1"}, {"r1c0", "r1c1"}, {"r2c0", "r2c1"}},
       {.membersReversed = true, .vocabularyReversed = true},
       Grid{{"r0c0", "r0c1"}, {"r1c0", "r1c1"}, {"r2c0", "r2c1"}}},
      {"cells filed under copies of the ordered objects",
       {{"a", "b"}, {"c"}},
       {.cellKeysAreCopies = true},
       Grid{{"a", "b"}, {"c", ""}}},
      {"members missing from the array and stray objects are skipped",
       {{"a", ""}, {"", "d"}},
       {.membersReversed = true, .hiddenRow = {"hidden", "row"}, .strayCellText = "stray"},
       Grid{{"a", ""}, {"", "d"}}},
      {"upper camel case direction key",
       {{"a", "b"}},
       {.rightToLeft = true, .vocabularyReversed = true, .upperCaseDirectionKey = true},
       Grid{{"b", "a"}},
       true},
      {"unknown direction reads left to right",
       {{"a", "b"}},
       {.directionName = "sideways"},
       Grid{{"a", "b"}}},
      {"registers that refer to each other", {{"a", "b"}}, {.directionCycle = true}, Grid{{"a", "b"}}},
      {"no ICTable entry", {{"a"}}, {.withTable = false}, std::nullopt},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string document = encodeTableDocument(c.written, c.layout);
    for (const std::string& blob : {gzipCompress(document), zlibCompress(document), document}) {
      const std::optional<NotesTable> table = decodeNoteTable(blob);
      ASSERT_EQ(table.has_value(), c.expected.has_value());
      if (!table) continue;
      EXPECT_EQ(textsOf(*table), *c.expected);
      EXPECT_EQ(table->rightToLeft(), c.rightToLeft);
      EXPECT_EQ(table->columnCount(), c.expected->at(0).size());
    }
  }
}

TEST(DecodeNoteTable, RefusesWhatIsNoTable) {
  const std::string table = gzipCompress(encodeTableDocument({{"a"}}));
  for (const std::string& blob :
       {std::string(), std::string("garbage"), gzipCompress("garbage"), table.substr(0, table.size() / 2),
        gzipCompress(encodeNoteDocument({{.text = "a note, not a table"}}))}) {
    EXPECT_FALSE(decodeNoteTable(blob)) << testing::PrintToString(blob);
  }
}

TEST(TableUUIDText, MatchesWholeAndEmbeddedUUIDs) {
  struct Case {
    std::string text;
    bool whole;
    std::optional<std::string> found;
  };
  const std::vector<Case> cases = {
      {"3730CBAF-33FF-4A64-B87A-94F3EAC3C1C1", true, "3730CBAF-33FF-4A64-B87A-94F3EAC3C1C1"},
      {"3730cbaf-33ff-4a64-b87a-94f3eac3c1c1", true, "3730cbaf-33ff-4a64-b87a-94f3eac3c1c1"},
      {"applenotes:note/3730cbaf-33ff-4a64-b87a-94f3eac3c1c1?x", false,
       "3730cbaf-33ff-4a64-b87a-94f3eac3c1c1"},
      {"3730CBAF-33FF-4A64-B87A-94F3EAC3C1C", false, std::nullopt},
      {"3730CBAF33FF-4A64-B87A-94F3EAC3C1C1x", false, std::nullopt},
      {"3730CBAG-33FF-4A64-B87A-94F3EAC3C1C1", false, std::nullopt},
      {"-3730CBAF-33FF-4A64-B87A-94F3EAC3C1C1", false, "3730CBAF-33FF-4A64-B87A-94F3EAC3C1C1"},
      {"", false, std::nullopt},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(isUUIDText(c.text), c.whole);
    EXPECT_EQ(findUUIDInText(c.text), c.found);
  }
}

using RealLibraryTable = internal::RealLibraryTest;

TEST_P(RealLibraryTable, DecodesWithItsCellsInDisplayOrder) {
  const auto rows = library_->rows(
      "SELECT ZMERGEABLEDATA1, ZMERGEABLEDATA FROM ZICCLOUDSYNCINGOBJECT "
      "WHERE ZTYPEUTI = 'com.apple.notes.table'");
  ASSERT_EQ(rows.size(), 1u);
  const std::optional<std::string>& blob = rows[0][0] ? rows[0][0] : rows[0][1];
  ASSERT_TRUE(blob);
  const std::optional<NotesTable> table = decodeNoteTable(*blob);
  ASSERT_TRUE(table);
  EXPECT_EQ(textsOf(*table), (Grid{{"Header 1", "Header 2"}, {"Item 1", "Item 2"}}));
  EXPECT_FALSE(table->rightToLeft());
  for (const std::vector<NoteDocument>& row : table->rows) {
    for (const NoteDocument& cell : row) {
      int64_t covered = 0;
      for (const NotesDatabaseAttributeStyle& run : cell.runs) covered += run.length;
      EXPECT_EQ(covered, static_cast<int64_t>(cell.text.size())) << cell.text;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Libraries, RealLibraryTable, testing::ValuesIn(internal::kRealLibraryNames));

}  // namespace
}  // namespace zephyl::notes_store
