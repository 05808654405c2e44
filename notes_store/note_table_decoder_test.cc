#include "notes_store/note_table_decoder.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "notes_store/fixtures/note_document_writer.h"
#include "notes_store/internal/protobuf_writer.h"
#include "notes_store/internal/real_library_test_support.h"

namespace zephyl::notes_store {
namespace {

using internal::ProtobufWriter;
using Grid = std::vector<std::vector<std::string>>;

Grid textsOf(const NotesTable& table) {
  Grid grid;
  for (const std::vector<NoteDocument>& row : table.rows) {
    grid.emplace_back();
    for (const NoteDocument& cell : row) grid.back().push_back(cell.text);
  }
  return grid;
}

TEST(DecodeNoteTable, ReadsWhatTheWriterWrites) {
  struct Case {
    const char* name;
    Grid written;
    bool rightToLeft;
    Grid expected;
  };
  const std::vector<Case> cases = {
      {"one cell", {{"only"}}, false, {{"only"}}},
      {"two by three", {{"a", "b", "c"}, {"d", "e", "f"}}, false, {{"a", "b", "c"}, {"d", "e", "f"}}},
      {"ragged rows leave empty cells", {{"a", "b", "c"}, {"d"}}, false, {{"a", "b", "c"}, {"d", "", ""}}},
      {"empty texts", {{"", "x"}, {"", ""}}, false, {{"", "x"}, {"", ""}}},
      {"right to left reverses each row",
       {{"a", "b", "c"}, {"d", "e", "f"}},
       true,
       {{"c", "b", "a"}, {"f", "e", "d"}}},
      {"multibyte cells",
       {{"caf\xC3\xA9", "\xF0\x9F\x98\x80"}},
       false,
       {{"caf\xC3\xA9", "\xF0\x9F\x98\x80"}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string document = encodeTableDocument(c.written, c.rightToLeft);
    for (const std::string& blob : {gzipCompress(document), zlibCompress(document), document}) {
      const std::optional<NotesTable> table = decodeNoteTable(blob);
      ASSERT_TRUE(table);
      EXPECT_EQ(textsOf(*table), c.expected);
      EXPECT_EQ(table->rightToLeft(), c.rightToLeft);
      EXPECT_EQ(table->columnCount(), c.expected.at(0).size());
    }
  }
}

// A table document written field by field, for the layouts the writer never
// makes. Its key and type lists are in another order than Notes writes them, so
// that a decoder relying on fixed indices fails.
class TableFixture {
 public:
  static constexpr size_t kStray = SIZE_MAX;  // an object in neither ordering

  struct Spec {
    size_t rows = 0;
    size_t columns = 0;
    std::vector<size_t> rowOrder{};  // members whose UUID the row array lists, in display order
    std::vector<size_t> columnOrder{};
    std::vector<std::tuple<size_t, size_t, std::string>> cells{};  // column member, row member, text
    std::string directionKey = "crTableColumnDirection";
    std::optional<std::string> direction{};  // nullopt: registers that refer to each other
    bool withTable = true;
    // Cells filed under other entries than the orderings' that name the same
    // UUIDs, as in tables edited by several Notes versions.
    bool cellKeysAreCopies = false;
  };

  static std::string build(const Spec& spec) {
    TableFixture fixture;
    const uint64_t stray = fixture.uuidEntry();
    const Axis rows = fixture.axis(spec.rows, spec.rowOrder);
    const Axis columns = fixture.axis(spec.columns, spec.columnOrder);
    const auto objectOf = [&](const Axis& axis, size_t member) {
      const uint64_t object = member == kStray ? stray : axis.valueObjects.at(member);
      return spec.cellKeysAreCopies ? fixture.uuidEntryCopying(object) : object;
    };

    ProtobufWriter columnDictionary;
    for (size_t column = 0; column < spec.columns + 1; ++column) {
      ProtobufWriter rowDictionary;
      const size_t member = column == spec.columns ? kStray : column;
      for (const auto& [cellColumn, cellRow, text] : spec.cells) {
        if (cellColumn != member) continue;
        ProtobufWriter run;
        run.varintField(1, text.size());
        ProtobufWriter note;
        note.bytesField(2, text);
        note.messageField(5, run);
        ProtobufWriter cell;
        cell.messageField(10, note);
        rowDictionary.messageField(1, element(objectOf(rows, cellRow), fixture.add(cell)));
      }
      ProtobufWriter rowEntry;
      rowEntry.messageField(6, rowDictionary);
      columnDictionary.messageField(1, element(objectOf(columns, member), fixture.add(rowEntry)));
    }
    ProtobufWriter cellColumns;
    cellColumns.messageField(6, columnDictionary);
    const uint64_t cellColumnsEntry = fixture.add(cellColumns);

    // The direction register leads to a string entry, or, without a direction,
    // to a second register that leads back: a cycle.
    const uint64_t registerEntry = fixture.add(registerOf(fixture.entries_.size() + 1));
    if (spec.direction) {
      ProtobufWriter text;
      text.bytesField(4, *spec.direction);
      ProtobufWriter map;
      map.varintField(1, kStringType);
      map.messageField(3, item(kSelfKey, text));
      ProtobufWriter entry;
      entry.messageField(13, map);
      fixture.add(entry);
    } else {
      fixture.add(registerOf(registerEntry));
    }

    ProtobufWriter table;
    table.varintField(1, spec.withTable ? kTableType : kStringType);
    table.messageField(3, item(kRowsKey, reference(rows.set)));
    table.messageField(3, item(kColumnsKey, reference(columns.set)));
    table.messageField(3, item(kCellColumnsKey, reference(cellColumnsEntry)));
    table.messageField(
        3, item(spec.directionKey == "crTableColumnDirection" ? kLowerDirectionKey : kUpperDirectionKey,
                reference(registerEntry)));
    ProtobufWriter tableEntry;
    tableEntry.messageField(13, table);
    fixture.add(tableEntry);
    return fixture.document();
  }

 private:
  static constexpr uint64_t kUUIDIndexKey = 0, kCellColumnsKey = 1, kRowsKey = 2, kSelfKey = 3,
                            kColumnsKey = 4, kUpperDirectionKey = 5, kLowerDirectionKey = 6;
  static constexpr uint64_t kTableType = 0, kStringType = 1, kUUIDType = 2;

  struct Axis {
    uint64_t set = 0;
    std::vector<uint64_t> valueObjects;
  };

  static ProtobufWriter reference(uint64_t entry) {
    ProtobufWriter id;
    id.varintField(6, entry);
    return id;
  }
  static ProtobufWriter registerOf(uint64_t valueEntry) {
    ProtobufWriter contents;
    contents.messageField(2, reference(valueEntry));
    ProtobufWriter entry;
    entry.messageField(1, contents);
    return entry;
  }
  static ProtobufWriter element(uint64_t key, uint64_t value) {
    ProtobufWriter pair;
    pair.messageField(1, reference(key));
    pair.messageField(2, reference(value));
    return pair;
  }
  static ProtobufWriter item(uint64_t key, const ProtobufWriter& value) {
    ProtobufWriter pair;
    pair.varintField(1, key);
    pair.messageField(2, value);
    return pair;
  }

  uint64_t add(const ProtobufWriter& entry) {
    entries_.push_back(entry.bytes());
    return entries_.size() - 1;
  }

  uint64_t uuidEntry() {
    uuids_.push_back(std::string(15, static_cast<char>(0xA0 + uuids_.size())) +
                     static_cast<char>(uuids_.size()));
    uuidIndexOfEntry_[entries_.size()] = uuids_.size() - 1;
    return uuidEntryNaming(uuids_.size() - 1);
  }

  // A new entry naming the UUID that `entry` names.
  uint64_t uuidEntryCopying(uint64_t entry) { return uuidEntryNaming(uuidIndexOfEntry_.at(entry)); }

  uint64_t uuidEntryNaming(uint64_t uuidIndex) {
    ProtobufWriter index;
    index.varintField(2, uuidIndex);
    ProtobufWriter map;
    map.varintField(1, kUUIDType);
    map.messageField(3, item(kUUIDIndexKey, index));
    ProtobufWriter entry;
    entry.messageField(13, map);
    return add(entry);
  }

  // Each member has a key object, whose UUID the array lists, and a value object,
  // which the cells are filed under; the contents pair them.
  Axis axis(size_t members, const std::vector<size_t>& order) {
    Axis axis;
    std::vector<uint64_t> keyObjects;
    std::vector<std::string> keyUUIDs;
    for (size_t i = 0; i < members; ++i) {
      axis.valueObjects.push_back(uuidEntry());
      keyObjects.push_back(uuidEntry());
      keyUUIDs.push_back(uuids_.back());
    }
    ProtobufWriter array;
    for (size_t member : order) {
      ProtobufWriter arrayItem;
      arrayItem.varintField(1, 0);
      arrayItem.bytesField(2, keyUUIDs.at(member));
      array.messageField(2, arrayItem);
    }
    ProtobufWriter contents;
    for (size_t i = 0; i < members; ++i)
      contents.messageField(1, element(keyObjects[i], axis.valueObjects[i]));
    ProtobufWriter ordering;
    ordering.messageField(1, array);
    ordering.messageField(2, contents);
    ProtobufWriter set;
    set.messageField(1, ordering);
    ProtobufWriter entry;
    entry.messageField(16, set);
    axis.set = add(entry);
    return axis;
  }

  std::string document() const {
    ProtobufWriter data;
    for (const std::string& entry : entries_) data.bytesField(3, entry);
    for (const char* key : {"UUIDIndex", "cellColumns", "crRows", "self", "crColumns",
                            "CRTableColumnDirection", "crTableColumnDirection"}) {
      data.bytesField(4, key);
    }
    for (const char* type : {"com.apple.notes.ICTable", "com.apple.CRDT.NSString", "com.apple.CRDT.NSUUID"}) {
      data.bytesField(5, type);
    }
    for (const std::string& uuid : uuids_) data.bytesField(6, uuid);
    ProtobufWriter object;
    object.messageField(3, data);
    ProtobufWriter root;
    root.messageField(2, object);
    return gzipCompress(root.bytes());
  }

  std::vector<std::string> entries_;
  std::vector<std::string> uuids_;
  std::map<uint64_t, uint64_t> uuidIndexOfEntry_;  // entry → its index in uuids_
};

TEST(DecodeNoteTable, PlacesCellsByTheOrderingAndSkipsStrayOnes) {
  using Spec = TableFixture::Spec;
  constexpr size_t kStray = TableFixture::kStray;
  const std::string ltr(kTableDirectionLeftToRight);
  const std::string rtl(kTableDirectionRightToLeft);
  struct Case {
    const char* name;
    Spec spec;
    std::optional<Grid> expected;
    bool rightToLeft = false;
  };
  const std::vector<Case> cases = {
      {"array order, not entry order",
       {.rows = 3,
        .columns = 2,
        .rowOrder = {2, 0, 1},
        .columnOrder = {1, 0},
        .cells =
            {{0, 0, "r0c0"}, {0, 1, "r1c0"}, {0, 2, "r2c0"}, {1, 0, "r0c1"}, {1, 1, "r1c1"}, {1, 2, "r2c1"}},
        .direction = ltr},
       Grid{{"r2c1", "r2c0"}, {"r0c1", "r0c0"}, {"r1c1", "r1c0"}}},
      {"cells filed under copies of the ordered objects",
       {.rows = 2,
        .columns = 2,
        .rowOrder = {1, 0},
        .columnOrder = {0, 1},
        .cells = {{0, 0, "r0c0"}, {0, 1, "r1c0"}, {1, 0, "r0c1"}, {1, kStray, "stray row"}},
        .direction = ltr,
        .cellKeysAreCopies = true},
       Grid{{"r1c0", ""}, {"r0c0", "r0c1"}}},
      {"members missing from the array and stray objects are skipped",
       {.rows = 3,
        .columns = 2,
        .rowOrder = {0, 1},
        .columnOrder = {0, 1},
        .cells = {{0, 0, "a"},
                  {0, 2, "hidden row"},
                  {kStray, 0, "stray column"},
                  {1, kStray, "stray row"},
                  {1, 1, "d"}},
        .direction = ltr},
       Grid{{"a", ""}, {"", "d"}}},
      {"upper camel case direction key",
       {.rows = 1,
        .columns = 2,
        .rowOrder = {0},
        .columnOrder = {0, 1},
        .cells = {{0, 0, "a"}, {1, 0, "b"}},
        .directionKey = "CRTableColumnDirection",
        .direction = rtl},
       Grid{{"b", "a"}},
       true},
      {"unknown direction reads left to right",
       {.rows = 1,
        .columns = 2,
        .rowOrder = {0},
        .columnOrder = {0, 1},
        .cells = {{0, 0, "a"}, {1, 0, "b"}},
        .direction = "sideways"},
       Grid{{"a", "b"}}},
      {"registers that refer to each other",
       {.rows = 1, .columns = 1, .rowOrder = {0}, .columnOrder = {0}, .cells = {{0, 0, "a"}}},
       Grid{{"a"}}},
      {"no ICTable entry",
       {.rows = 1, .columns = 1, .rowOrder = {0}, .columnOrder = {0}, .direction = ltr, .withTable = false},
       std::nullopt},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::optional<NotesTable> table = decodeNoteTable(TableFixture::build(c.spec));
    ASSERT_EQ(table.has_value(), c.expected.has_value());
    if (!table) continue;
    EXPECT_EQ(textsOf(*table), *c.expected);
    EXPECT_EQ(table->rightToLeft(), c.rightToLeft);
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
