#include "notes_store/note_document.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "notes_store/fixtures/note_document_writer.h"
#include "notes_store/internal/protobuf_writer.h"
#include "notes_store/note_body_decoder.h"

namespace zephyl::notes_store {
namespace {

using internal::ProtobufWriter;

const std::string kTenByteVarint("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01", 10);

TEST(DecodeNoteDocument, ReadsEveryRunAttributeTheWriterWrites) {
  using Paragraph = NoteParagraphStyleSpec;
  const std::vector<NoteRunSpec> runs = {
      {.text = "plain"},
      {.text = "bi", .fontWeight = 3},
      {.text = "u", .underline = true, .strikethrough = true},
      {.text = "2", .superscript = 1},
      {.text = "2", .superscript = -1, .link = "https://x"},  // -1 takes ten bytes
      {.text = "h", .highlight = 4},
      {.text = "\xEF\xBF\xBC", .attachmentIdentifier = "ID-1", .attachmentTypeUTI = "public.jpeg"},
      {.text = "H\n", .paragraph = Paragraph{.style = NoteParagraphStyle::kHeading}},
      {.text = "- \xF0\x9F\x98\x80\n",
       .paragraph = Paragraph{.style = NoteParagraphStyle::kDottedList, .alignment = 1, .indentLevel = 2}},
      {.text = "x\n", .paragraph = Paragraph{.style = NoteParagraphStyle::kChecklist, .checklistDone = true}},
      {.text = "y\n",
       .paragraph = Paragraph{.style = NoteParagraphStyle::kChecklist, .checklistDone = false}},
      {.text = "q\n", .paragraph = Paragraph{.blockQuote = 1}},
      {.text = "q\n", .paragraph = Paragraph{.blockQuote = 0}},
  };
  const std::vector<NotesDatabaseAttributeStyle> expected = {
      {.length = 5},
      {.length = 2, .fontWeight = 3},
      {.length = 1, .underline = true, .strikethrough = true},
      {.length = 1, .superscript = 1},
      {.length = 1, .superscript = -1, .link = "https://x"},
      {.length = 1, .highlight = 4},
      {.length = 1, .attachment = NotesDatabaseAttachmentInfo{"ID-1", "public.jpeg"}},
      {.length = 2, .styleType = 1},
      {.length = 5, .styleType = 100, .alignment = 1, .indentLevel = 2},
      {.length = 2, .styleType = 103, .checklistDone = true},
      {.length = 2, .styleType = 103, .checklistDone = false},
      {.length = 2, .blockQuote = true},
      {.length = 2},
  };
  const std::optional<NoteDocument> document = decodeNoteDocument(gzipCompress(encodeNoteDocument(runs)));
  ASSERT_TRUE(document);
  EXPECT_EQ(document->runs, expected);
}

// The body decoder keeps Notes' nine-byte varint limit, so the field list of a
// subscript run is malformed to it: the run keeps its line style but loses its
// link. The document reader, which the Markdown conversion uses, keeps both.
TEST(DecodeNoteDocument, SubscriptRunsKeepTheirLinkUnlikeTheBodyDecoder) {
  const std::string body = gzipCompress(encodeNoteDocument(
      {{.text = "H", .superscript = -1, .link = "https://sub"}, {.text = "2O", .link = "https://two"}}));
  const std::optional<NoteDocument> document = decodeNoteDocument(body);
  ASSERT_TRUE(document);
  EXPECT_EQ(document->runs.at(0).link, "https://sub");
  EXPECT_EQ(document->runs.at(1).link, "https://two");

  const NotesDatabaseParsedNote parsed = decodeNoteBody(body, 1);
  ASSERT_NE(parsed.firstWithText(), nullptr);
  EXPECT_EQ(parsed.firstWithText()->links, std::vector<std::string>{"https://two"});
  EXPECT_EQ(parsed.firstWithText()->lineStyles.size(), 2u);
}

std::string noteMessage(std::string_view text, const std::vector<std::string>& runs) {
  ProtobufWriter note;
  note.bytesField(2, text);
  for (const std::string& run : runs) note.bytesField(5, run);
  return std::move(note).take();
}

TEST(ReadNoteMessage, KeepsRunsAlignedAndRejectsUnreadableText) {
  ProtobufWriter twoLinks;
  twoLinks.varintField(1, 2);
  twoLinks.bytesField(9, "first");
  twoLinks.bytesField(9, "second");
  ProtobufWriter negative;
  negative.int32Field(1, -3);
  ProtobufWriter damaged;
  damaged.varintField(1, 1);
  damaged.bytesField(9, "kept");
  const std::string damagedRun = damaged.bytes() + "\x0B";  // a group: the list breaks off here
  ProtobufWriter noLength;
  noLength.varintField(5, 1);

  struct Case {
    const char* name;
    std::string message;
    std::optional<std::vector<NotesDatabaseAttributeStyle>> runs;  // nullopt: no document
  };
  const NotesDatabaseAttributeStyle linked{.length = 2, .link = "first"};
  const NotesDatabaseAttributeStyle kept{.length = 1, .link = "kept"};
  const std::vector<Case> cases = {
      {"first of repeated fields counts", noteMessage("ab", {twoLinks.bytes()}), std::vector{linked}},
      {"run without a length left out", noteMessage("ab", {noLength.bytes(), twoLinks.bytes()}),
       std::vector{linked}},
      {"negative length left out", noteMessage("ab", {negative.bytes()}),
       std::vector<NotesDatabaseAttributeStyle>{}},
      {"damaged run keeps what came before the break", noteMessage("ab", {damagedRun, twoLinks.bytes()}),
       std::vector{kept, linked}},
      {"no runs", noteMessage("", {}), std::vector<NotesDatabaseAttributeStyle>{}},
      {"invalid UTF-8", noteMessage("\xED\xA0\x80", {twoLinks.bytes()}), std::nullopt},
      {"no text", std::string("\x2A\x02\x08\x01", 4), std::nullopt},
      {"text after a break", "\x0F" + noteMessage("ab", {}), std::nullopt},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::optional<NoteDocument> document = readNoteMessage(c.message);
    ASSERT_EQ(document.has_value(), c.runs.has_value());
    if (document) {
      EXPECT_EQ(document->runs, *c.runs);
    }
  }
}

TEST(DecodeNoteDocument, ReadsEachContainerAndNothingElse) {
  const std::string raw = encodeNoteDocument({{.text = "hello"}});
  struct Case {
    const char* name;
    std::string blob;
    bool readable;
  };
  const std::vector<Case> cases = {
      {"gzip", gzipCompress(raw), true},
      {"uncompressed", raw, true},
      {"gzip of garbage", gzipCompress("garbage"), false},
      {"truncated gzip", gzipCompress(raw).substr(0, 12), false},
      {"ten-byte varint before the document", "\x08" + kTenByteVarint + raw.substr(2), true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::optional<NoteDocument> document = decodeNoteDocument(c.blob);
    ASSERT_EQ(document.has_value(), c.readable);
    if (document) {
      EXPECT_EQ(document->text, "hello");
    }
  }
}

}  // namespace
}  // namespace zephyl::notes_store
