#include "notes_store/note_document_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "notes_store/internal/note_document_test_reader.h"

namespace zephyl::notes_store {
namespace {

using internal::testInflate;
using internal::testMessage;
using internal::testMessages;
using internal::testProtobufFields;
using internal::testReadTable;
using internal::testVarint;

// The note message at root.2.3 of an encoded document.
std::string_view noteOf(const std::string& document) {
  return testMessage(testMessage(document, 2).value_or(""), 3).value_or("");
}

TEST(NoteDocumentWriter, RunLengthsCountUtf16CodeUnits) {
  struct Case {
    std::string text;
    uint64_t length;
  };
  const std::vector<Case> cases = {
      {"plain", 5}, {"Café", 4}, {"日本語", 3}, {"🎉", 2}, {"a😀b\n", 5}, {"\xEF\xBF\xBC", 1},  // U+FFFC
      {"", 0},
  };
  std::vector<NoteRunSpec> runs;
  std::string text;
  for (const Case& c : cases) {
    runs.push_back({.text = c.text});
    text += c.text;
  }
  std::string document = encodeNoteDocument(runs);

  EXPECT_EQ(testMessage(noteOf(document), 2), text);
  std::vector<std::string_view> written = testMessages(noteOf(document), 5);
  ASSERT_EQ(written.size(), cases.size());
  for (size_t i = 0; i < cases.size(); ++i) {
    EXPECT_EQ(testVarint(written[i], 1), cases[i].length) << cases[i].text;
  }
}

TEST(NoteDocumentWriter, WritesEveryRunAttributeAndOmitsDefaults) {
  NoteRunSpec styled{
      .text = "\xEF\xBF\xBC",
      .paragraph =
          NoteParagraphStyleSpec{.styleType = 102, .alignment = 2, .indentLevel = 1, .blockQuote = 1},
      .fontWeight = 3,
      .underline = true,
      .strikethrough = true,
      .superscript = 1,
      .link = "https://example.com/a",
      .attachmentIdentifier = "ID-1",
      .attachmentTypeUTI = "public.jpeg",
      .highlight = 4};
  NoteRunSpec plain{.text = "x"};
  std::string document = encodeNoteDocument({styled, plain});
  std::vector<std::string_view> runs = testMessages(noteOf(document), 5);
  ASSERT_EQ(runs.size(), 2u);

  std::string_view run = runs[0];
  EXPECT_EQ(testVarint(run, 5), 3u);
  EXPECT_EQ(testVarint(run, 6), 1u);
  EXPECT_EQ(testVarint(run, 7), 1u);
  EXPECT_EQ(testVarint(run, 8), 1u);
  EXPECT_EQ(testMessage(run, 9), "https://example.com/a");
  EXPECT_EQ(testMessage(testMessage(run, 12).value_or(""), 1), "ID-1");
  EXPECT_EQ(testMessage(testMessage(run, 12).value_or(""), 2), "public.jpeg");
  EXPECT_EQ(testVarint(run, 14), 4u);
  std::string_view paragraph = testMessage(run, 2).value_or("");
  EXPECT_EQ(testVarint(paragraph, 1), 102u);
  EXPECT_EQ(testVarint(paragraph, 2), 2u);
  EXPECT_EQ(testVarint(paragraph, 4), 1u);
  EXPECT_EQ(testVarint(paragraph, 8), 1u);
  EXPECT_FALSE(testMessage(paragraph, 5)) << "no checklist was asked for";

  // A run without attributes carries its length and nothing else.
  auto fields = testProtobufFields(runs[1]);
  ASSERT_TRUE(fields);
  ASSERT_EQ(fields->size(), 1u);
  EXPECT_EQ(fields->front().number, 1u);
}

TEST(NoteDocumentWriter, SubscriptIsWrittenAsProtobufInt32) {
  std::string document = encodeNoteDocument({{.text = "2", .superscript = -1}});
  std::string_view run = testMessages(noteOf(document), 5).at(0);
  // Negative int32 values are sign-extended: ten bytes, all bits set.
  EXPECT_EQ(testVarint(run, 8), UINT64_MAX);
}

TEST(NoteDocumentWriter, ChecklistItemsCarryAnIdAndTheirState) {
  std::string document = encodeNoteDocument({
      {.text = "done\n", .paragraph = NoteParagraphStyleSpec{.styleType = 103, .checklistDone = true}},
      {.text = "open\n", .paragraph = NoteParagraphStyleSpec{.styleType = 103, .checklistDone = false}},
  });
  std::vector<std::string_view> runs = testMessages(noteOf(document), 5);
  ASSERT_EQ(runs.size(), 2u);
  std::vector<std::string_view> ids;
  for (size_t i = 0; i < runs.size(); ++i) {
    std::string_view checklist = testMessage(testMessage(runs[i], 2).value_or(""), 5).value_or("");
    EXPECT_EQ(testVarint(checklist, 2), i == 0 ? 1u : 0u);
    ids.push_back(testMessage(checklist, 1).value_or(""));
    EXPECT_EQ(ids.back().size(), 16u);
  }
  EXPECT_NE(ids[0], ids[1]);
}

TEST(NoteDocumentCompression, GzipAndZlibInflateToTheInput) {
  std::string large;
  for (int i = 0; large.size() < 300000; ++i) large += "line " + std::to_string(i * 7919) + "\n";
  struct Case {
    const char* name;
    std::string (*compress)(std::string_view);
    unsigned char firstByte;
  };
  const Case cases[] = {{"gzip", gzipCompress, 0x1F}, {"zlib", zlibCompress, 0x78}};
  for (const Case& c : cases) {
    for (const std::string& input : {std::string(), std::string("hello"), large}) {
      std::string compressed = c.compress(input);
      ASSERT_FALSE(compressed.empty()) << c.name;
      EXPECT_EQ(static_cast<unsigned char>(compressed[0]), c.firstByte) << c.name;
      EXPECT_EQ(testInflate(compressed), input) << c.name << " of " << input.size() << " bytes";
    }
  }
  EXPECT_EQ(static_cast<unsigned char>(gzipCompress("x")[1]), 0x8B);
}

TEST(TableDocument, ReadsBackRowsAndColumnsInOrder) {
  const std::vector<std::vector<std::string>> rows = {
      {"Name", "Café", "日本語"},
      {"🎉 party", "", "3"},
      {"last", "row", "here"},
  };
  std::string document = encodeTableDocument(rows);
  std::optional<internal::TestTable> table = testReadTable(document);
  ASSERT_TRUE(table);
  EXPECT_EQ(table->rows, rows);
  EXPECT_EQ(table->direction, "CRTableColumnDirectionLeftToRight");

  // The vocabulary lists are those of real documents; UUIDs are 16 raw bytes.
  std::string_view data = testMessage(testMessage(document, 2).value_or(""), 3).value_or("");
  std::vector<std::string_view> types = testMessages(data, 5);
  EXPECT_NE(std::find(types.begin(), types.end(), "com.apple.notes.ICTable"), types.end());
  EXPECT_NE(std::find(types.begin(), types.end(), "com.apple.CRDT.NSUUID"), types.end());
  std::vector<std::string_view> uuids = testMessages(data, 6);
  EXPECT_GE(uuids.size(), 1u + 2 * (rows.size() + rows[0].size()));
  for (std::string_view uuid : uuids) EXPECT_EQ(uuid.size(), 16u);
}

TEST(TableDocument, RightToLeftTableStoresGivenOrderAndShowsItReversed) {
  const std::vector<std::vector<std::string>> rows = {{"first", "second"}, {"a", "b"}};
  std::optional<internal::TestTable> table = testReadTable(encodeTableDocument(rows, true));
  ASSERT_TRUE(table);
  EXPECT_EQ(table->direction, "CRTableColumnDirectionRightToLeft");
  const std::vector<std::vector<std::string>> shown = {{"second", "first"}, {"b", "a"}};
  EXPECT_EQ(table->rows, shown);
}

TEST(TableDocument, CellsAreNoteDocumentsWithRuns) {
  std::string document = encodeTableDocument({{"Zürich"}});
  std::string_view data = testMessage(testMessage(document, 2).value_or(""), 3).value_or("");
  int cells = 0;
  for (std::string_view entry : testMessages(data, 3)) {
    std::optional<std::string_view> cell = testMessage(entry, 10);
    if (!cell) continue;
    ++cells;
    EXPECT_EQ(testMessage(*cell, 2), "Zürich");
    std::vector<std::string_view> runs = testMessages(*cell, 5);
    ASSERT_EQ(runs.size(), 1u);
    EXPECT_EQ(testVarint(runs[0], 1), 6u);
  }
  EXPECT_EQ(cells, 1);
}

}  // namespace
}  // namespace zephyl::notes_store
