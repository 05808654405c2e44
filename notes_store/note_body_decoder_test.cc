#include "notes_store/note_body_decoder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/utf8.h"
#include "notes_store/fixtures/note_document_writer.h"
#include "notes_store/internal/protobuf_writer.h"
#include "notes_store/internal/real_library_test_support.h"

namespace zephyl::notes_store {
namespace {

using internal::ProtobufWriter;
using Style = NotesDatabaseMarkdownStyle;
using P = NoteParagraphStyle;

constexpr std::string_view kObjectReplacement = "\xEF\xBF\xBC";

// A body with the runs exactly as given, lengths included: the cases that a
// well-behaved writer never produces.
// `tail` follows the runs inside the note's field list.
std::string noteBytes(std::string_view text, const std::vector<std::string>& runs,
                      std::string_view tail = {}) {
  ProtobufWriter note;
  note.bytesField(2, text);
  for (const std::string& run : runs) note.bytesField(5, run);
  ProtobufWriter document;
  document.bytesField(3, std::move(note).take() + std::string(tail));
  ProtobufWriter root;
  root.messageField(2, document);
  return std::move(root).take();
}

std::string runBytes(uint64_t length, std::optional<std::string> link = std::nullopt, std::string tail = {}) {
  ProtobufWriter run;
  run.varintField(1, length);
  if (link) run.bytesField(9, *link);
  return std::move(run).take() + tail;
}

std::string paragraph(std::optional<int> styleType,
                      std::optional<std::optional<int>> checklistDone = std::nullopt,
                      std::optional<int> blockQuote = std::nullopt) {
  ProtobufWriter style;
  if (styleType) style.int32Field(1, *styleType);
  if (checklistDone) {
    ProtobufWriter item;
    item.bytesField(1, std::string(16, 'i'));
    if (*checklistDone) item.varintField(2, static_cast<uint64_t>(**checklistDone));
    style.messageField(5, item);
  }
  if (blockQuote) style.int32Field(8, *blockQuote);
  return std::move(style).take();
}

// Bytes written as hexadecimal pairs, blanks ignored: "12 01 61".
std::string hex(std::string_view pairs) {
  std::string bytes;
  for (size_t i = 0; i < pairs.size(); ++i) {
    if (pairs[i] == ' ') continue;
    bytes.push_back(static_cast<char>(std::stoi(std::string(pairs.substr(i, 2)), nullptr, 16)));
    ++i;
  }
  return bytes;
}

constexpr std::string_view kTenBytes = "FF FF FF FF FF FF FF FF FF 01";

TEST(ProtobufScanner, ReadsFieldsAndStopsOnMalformedLists) {
  struct Case {
    const char* name;
    std::string bytes;
    uint32_t field;  // asked for as bytes and as a varint
    std::optional<std::string> bytesField;
    std::optional<uint64_t> varintField;
    std::vector<std::string> allOfField2;
  };
  const std::optional<std::string> none;
  const std::optional<uint64_t> noValue;
  const std::vector<Case> cases = {
      {"first of several", hex("12 01 61  12 01 62"), 2, "a", noValue, {"a", "b"}},
      {"fixed64 and fixed32 skipped",
       hex("09 0102030405060708  15 01020304  12 01 78"),
       2,
       "x",
       noValue,
       {"x"}},
      {"matching number, other wire type", hex("10 07  12 01 79"), 2, "y", 7, {"y"}},
      {"nine-byte value", hex("08 FF FF FF FF FF FF FF FF 7F  12 01 7A"), 1, none, 0x7FFFFFFFFFFFFFFF, {"z"}},
      {"ten-byte value fails the scan", hex("08") + hex(kTenBytes) + hex("12 01 7A"), 2, none, noValue, {}},
      {"ten-byte tag fails the scan", hex(kTenBytes) + hex("12 01 7A"), 2, none, noValue, {}},
      {"found before a break, no list", hex("12 01 61  08") + hex(kTenBytes), 2, "a", noValue, {}},
      {"varint past the end", hex("12 01 61  08 80"), 1, none, noValue, {}},
      {"length past the end", hex("12 05 61 62 63"), 2, none, noValue, {}},
      {"fixed64 past the end", hex("09 01020304050607"), 1, none, noValue, {}},
      {"fixed32 past the end", hex("0D 010203"), 1, none, noValue, {}},
      {"start group ends the scan", hex("0B  12 01 61"), 2, none, noValue, {}},
      {"end group ends the scan", hex("0C  12 01 61"), 2, none, noValue, {}},
      {"wire type 6 ends the scan", hex("0E  12 01 61"), 2, none, noValue, {}},
      {"wire type 7 ends the scan", hex("0F  12 01 61"), 2, none, noValue, {}},
      {"empty bytes", "", 2, none, noValue, {}},
      {"empty payload", hex("12 00"), 2, "", noValue, {""}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(readProtobufField(c.field, c.bytes), c.bytesField);
    EXPECT_EQ(readProtobufVarint(c.field, c.bytes), c.varintField);
    const std::vector<std::string_view> all = readProtobufFields(2, c.bytes);
    EXPECT_EQ(std::vector<std::string>(all.begin(), all.end()), c.allOfField2);
  }
}

TEST(MarkdownStyleOfParagraph, MapsStyleTypesChecklistsAndQuotes) {
  struct Case {
    const char* name;
    std::string paragraph;
    std::optional<Style> style;
  };
  const std::vector<Case> cases = {
      {"title", paragraph(0), Style{P::kTitle}},
      {"heading", paragraph(1), Style{P::kHeading}},
      {"subheading", paragraph(2), Style{P::kSubheading}},
      {"unlisted type 3 is body", paragraph(3), std::nullopt},
      {"unlisted type 3 quoted", paragraph(3, std::nullopt, 1), Style{P::kBody, false, true}},
      {"monospaced", paragraph(4), Style{P::kMonospaced}},
      {"dotted list", paragraph(100), Style{P::kDottedList}},
      {"dashed list", paragraph(101), Style{P::kDashedList}},
      {"numbered list", paragraph(102), Style{P::kNumberedList}},
      {"checklist done", paragraph(103, std::optional<int>(1)), Style{P::kChecklist, true}},
      {"checklist not done", paragraph(103, std::optional<int>(0)), Style{P::kChecklist}},
      {"checklist without done field", paragraph(103, std::optional<int>()), Style{P::kChecklist}},
      {"checklist without item", paragraph(103), Style{P::kChecklist}},
      {"checklist done 2 is not done", paragraph(103, std::optional<int>(2)), Style{P::kChecklist}},
      {"no style type", paragraph(std::nullopt), std::nullopt},
      {"no style type quoted", paragraph(std::nullopt, std::nullopt, 1), Style{P::kBody, false, true}},
      {"quote 0", paragraph(std::nullopt, std::nullopt, 0), std::nullopt},
      {"quote 2", paragraph(std::nullopt, std::nullopt, 2), std::nullopt},
      {"heading is never quoted", paragraph(1, std::nullopt, 1), Style{P::kHeading}},
      {"checklist is never quoted", paragraph(103, std::optional<int>(1), 1), Style{P::kChecklist, true}},
      {"negative type (ten bytes) is body", paragraph(-1, std::nullopt, 1), std::nullopt},
      {"empty paragraph", "", std::nullopt},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(markdownStyleOfParagraph(c.paragraph), c.style);
  }
}

TEST(DecodeNoteBody, ReadsTextStylesLinksAndAttachmentsOfAGzipBody) {
  const std::string body = encodeNoteDocument({
      {.text = "Plan\n", .paragraph = NoteParagraphStyleSpec{.style = NoteParagraphStyle::kTitle}},
      {.text = "see ", .paragraph = NoteParagraphStyleSpec{}},
      {.text = "this", .paragraph = NoteParagraphStyleSpec{}, .link = "https://example.com/a"},
      {.text = "\n", .paragraph = NoteParagraphStyleSpec{}},
      {.text = "buy milk\n",
       .paragraph = NoteParagraphStyleSpec{.style = NoteParagraphStyle::kChecklist, .checklistDone = true}},
      {.text = std::string(kObjectReplacement),
       .paragraph = NoteParagraphStyleSpec{},
       .attachmentIdentifier = "TABLE-1",
       .attachmentTypeUTI = "com.apple.notes.table"},
      {.text = "\nquote", .paragraph = NoteParagraphStyleSpec{.blockQuote = 1}, .link = "applenotes:note/x"},
  });
  const NotesDatabaseParsedNote parsed = decodeNoteBody(gzipCompress(body), 42);

  EXPECT_EQ(parsed.noteKey, 42);
  // Which candidate holds the text is the container table's.
  const NotesDatabaseBodyTextCandidate& candidate = parsed.candidates.at(0);
  EXPECT_EQ(candidate.text, "Plan\nsee this\nbuy milk\n\xEF\xBF\xBC\nquote");
  EXPECT_EQ(candidate.links, (std::vector<std::string>{"https://example.com/a", "applenotes:note/x"}));
  EXPECT_EQ(candidate.attachmentIdentifiers, std::vector<std::string>{"TABLE-1"});
  EXPECT_EQ(parsed.attachmentIdentifiers, std::set<std::string>{"TABLE-1"});
  const std::vector<NotesDatabaseLineStyle> expected = {
      {5, Style{P::kTitle}},
      {4, std::nullopt},
      {4, std::nullopt},
      {1, std::nullopt},
      {9, Style{P::kChecklist, true}},
      {1, std::nullopt},
      {6, Style{P::kBody, false, true}},
  };
  EXPECT_EQ(candidate.lineStyles, expected);
}

TEST(DecodeNoteBody, ReadsEveryContainerAndSurvivesBrokenOnes) {
  const std::string document = encodeNoteDocument({{.text = "hello", .paragraph = NoteParagraphStyleSpec{}}});
  const std::string gzip = gzipCompress(document);
  std::string badCrc = gzip;
  badCrc[badCrc.size() - 5] ^= 0x01;  // the CRC-32 of the trailer
  std::string badAdler = zlibCompress(document);
  badAdler.back() ^= 0x01;
  struct Case {
    const char* name;
    std::string blob;
    size_t candidates;
    std::optional<size_t> textAt;  // index of the candidate with the text
  };
  const std::vector<Case> cases = {
      {"gzip", gzip, 2, 0},
      {"zlib-headed", zlibCompress(document), 2, 0},
      {"not compressed: read as the second candidate", document, 1, 0},
      {"truncated gzip", gzip.substr(0, gzip.size() / 2), 1, std::nullopt},
      {"gzip header only", gzip.substr(0, 10), 1, std::nullopt},
      {"gzip with a wrong CRC", badCrc, 1, std::nullopt},
      {"zlib with a wrong checksum", badAdler, 1, std::nullopt},
      {"gzip of garbage", gzipCompress("not a protobuf document at all"), 2, std::nullopt},
      {"gzip of nothing", gzipCompress(""), 1, std::nullopt},
      {"gzip magic and garbage", hex("1F 8B 08 00") + "garbage-garbage", 1, std::nullopt},
      {"zlib byte and garbage", hex("78 01 02 03"), 1, std::nullopt},
      {"empty blob", "", 1, std::nullopt},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const NotesDatabaseParsedNote parsed = decodeNoteBody(c.blob, 1);
    ASSERT_EQ(parsed.candidates.size(), c.candidates);
    const NotesDatabaseBodyTextCandidate* withText = parsed.firstWithText();
    if (c.textAt) {
      ASSERT_EQ(withText, &parsed.candidates[*c.textAt]);
      EXPECT_EQ(withText->text, "hello");
    } else {
      EXPECT_EQ(withText, nullptr);
    }
  }
}

TEST(DecompressNoteData, InflatesAcrossChunksAndRefusesEmptyResults) {
  std::string large;
  for (int i = 0; large.size() < 300'000; ++i) large += "line " + std::to_string(i * 7919 % 100003) + "\n";
  EXPECT_EQ(decompressNoteData(gzipCompress(large)), large);
  EXPECT_EQ(decompressNoteData(zlibCompress(large)), large);
  // Bytes after the end of the gzip stream are not part of it.
  EXPECT_EQ(decompressNoteData(gzipCompress("abc") + "trailing"), "abc");
  EXPECT_EQ(decompressNoteData(gzipCompress("")), std::nullopt);
  EXPECT_EQ(decompressNoteData(zlibCompress("")), std::nullopt);
  EXPECT_EQ(decompressNoteData("\x1F"), std::nullopt);
  EXPECT_EQ(decompressNoteData("plain"), std::nullopt);
  const std::string gzip = gzipCompress(large);
  EXPECT_EQ(decompressNoteData(gzip.substr(0, gzip.size() - 1)), std::nullopt);
}

TEST(DecompressNoteData, StopsAtTheInflatedSizeLimitAndSaysSo) {
  const struct {
    size_t inflated;
    bool overLimit;
  } cases[] = {{kMaxInflatedNoteBodyBytes, false}, {kMaxInflatedNoteBodyBytes + 1, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.inflated);
    for (const std::string& blob :
         {gzipCompress(std::string(c.inflated, '\n')), zlibCompress(std::string(c.inflated, '\n'))}) {
      bool overLimit = false;
      const auto inflated = decompressNoteData(blob, &overLimit);
      EXPECT_EQ(overLimit, c.overLimit);
      EXPECT_EQ(inflated.has_value(), !c.overLimit);
      const NotesDatabaseParsedNote parsed = decodeNoteBody(blob, 1);
      EXPECT_EQ(parsed.overLimit, c.overLimit);
      EXPECT_EQ(parsed.candidates.empty(), c.overLimit);
    }
  }
}

TEST(DecodeNoteBody, LinkWalkClampsRunsToTheText) {
  struct Case {
    const char* name;
    std::string text;
    std::vector<std::string> runs;
    std::vector<std::string> links;
  };
  const std::vector<Case> cases = {
      {"runs within the text", "abcdef", {runBytes(3, "A"), runBytes(3, "B")}, {"A", "B"}},
      {"overlong run clamped, later runs skipped",
       "abcdef",
       {runBytes(2, "A"), runBytes(100, "B"), runBytes(1, "C"), runBytes(1, "D")},
       {"A", "B"}},
      {"runs past the text end skipped", "ab", {runBytes(2, "A"), runBytes(1, "B")}, {"A"}},
      {"zero-length run skipped but not the next", "ab", {runBytes(0, "A"), runBytes(2, "B")}, {"B"}},
      {"run without length skipped", "ab", {hex("4A 01 58"), runBytes(2, "B")}, {"B"}},
      {"malformed run skipped without moving the position",
       "abc",
       {runBytes(1, "A", hex("40") + hex(kTenBytes)), runBytes(2, "B"), runBytes(1, "C")},
       {"B", "C"}},
      {"invalid UTF-8 link skipped", "ab", {runBytes(1, hex("C0 80")), runBytes(1, "B")}, {"B"}},
      {"empty text takes no link", "", {runBytes(1, "A")}, {}},
      // 😀😀 is 8 bytes, 2 code points and 4 UTF-16 code units.
      {"emoji count two code units each",
       "\xF0\x9F\x98\x80\xF0\x9F\x98\x80",
       {runBytes(2, "A"), runBytes(2, "B"), runBytes(1, "C")},
       {"A", "B"}},
      {"accents count one code unit",
       "\xC3\xA9\xC3\xA9x",
       {runBytes(2, "A"), runBytes(1, "B"), runBytes(1, "C")},
       {"A", "B"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const NotesDatabaseParsedNote parsed = decodeNoteBody(noteBytes(c.text, c.runs), 1);
    ASSERT_NE(parsed.firstWithText(), nullptr);
    EXPECT_EQ(parsed.firstWithText()->links, c.links);
  }
}

TEST(DecodeNoteBody, RunsKeepWhatTheirOwnFieldListHeldButNoneSurviveABrokenNoteList) {
  const std::string broken = hex("40") + hex(kTenBytes);
  const std::string attachment = [] {
    ProtobufWriter info;
    info.bytesField(1, "ID");
    ProtobufWriter run;
    run.varintField(1, 1);
    run.messageField(12, info);
    return std::move(run).take();
  }();
  const struct {
    const char* name;
    std::vector<std::string> runs;
    std::string tail;  // after the runs, in the note's own field list
    std::vector<NotesDatabaseLineStyle> lineStyles;
    std::vector<std::string> attachments;
  } cases[] = {
      {"every run with a length, even past the text, and one broken after its length",
       {runBytes(100), hex("12 00"), runBytes(1, "L", broken), attachment + broken},
       "",
       {{100, std::nullopt}, {1, std::nullopt}, {1, std::nullopt}},
       {"ID"}},
      {"the note's list breaks off after its runs", {runBytes(1), attachment}, broken, {}, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const NotesDatabaseParsedNote parsed = decodeNoteBody(noteBytes("ab", c.runs, c.tail), 1);
    ASSERT_EQ(parsed.candidates.size(), 1u);
    EXPECT_EQ(parsed.candidates[0].text, "ab");
    EXPECT_EQ(parsed.candidates[0].lineStyles, c.lineStyles);
    EXPECT_EQ(parsed.candidates[0].attachmentIdentifiers, c.attachments);
  }
}

TEST(DecodeNoteBody, InvalidTextMakesACandidateWithNothingElse) {
  // Overlong, surrogate, above U+10FFFF, truncated, lone continuation, never valid.
  for (const std::string& text :
       {hex("C0 80"), hex("ED A0 80"), hex("F4 90 80 80"), hex("61 62 E2 82"), hex("80"), hex("FF")}) {
    SCOPED_TRACE(testing::PrintToString(text));
    const NotesDatabaseParsedNote parsed =
        decodeNoteBody(encodeNoteDocument({{.text = text, .link = "L", .attachmentIdentifier = "ID"}}), 1);
    ASSERT_EQ(parsed.candidates.size(), 1u);
    const NotesDatabaseBodyTextCandidate& c = parsed.candidates[0];
    EXPECT_EQ(std::tuple(c.text, c.lineStyles.size(), c.links.size(), c.attachmentIdentifiers.size()),
              std::tuple(std::nullopt, 0u, 0u, 0u));
  }
}

TEST(DecodeNoteBody, ChoosesAttachmentsOnlyWhereTheTextHoldsAnObjectReplacement) {
  const std::string fffc(kObjectReplacement);
  struct Case {
    const char* name;
    std::vector<NoteRunSpec> runs;
    std::vector<std::string> identifiers;
    std::set<std::string> chosen;
  };
  const std::vector<Case> cases = {
      {"U+FFFC without attachment", {{.text = "a" + fffc}}, {}, {}},
      {"attachments without U+FFFC", {{.text = "a", .attachmentIdentifier = "X"}}, {"X"}, {}},
      {"repeated identifiers make one set",
       {{.text = fffc, .attachmentIdentifier = "B"},
        {.text = fffc, .attachmentIdentifier = "A"},
        {.text = fffc, .attachmentIdentifier = "B"}},
       {"B", "A", "B"},
       {"A", "B"}},
      {"empty identifier left out", {{.text = fffc, .attachmentIdentifier = ""}}, {}, {}},
      {"attachment info without identifier", {{.text = fffc, .attachmentTypeUTI = "public.jpeg"}}, {}, {}},
      {"invalid UTF-8 identifier decoded with a replacement",
       {{.text = fffc, .attachmentIdentifier = hex("41 FF 42")}},
       {hex("41 EF BF BD 42")},
       {hex("41 EF BF BD 42")}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const NotesDatabaseParsedNote parsed = decodeNoteBody(gzipCompress(encodeNoteDocument(c.runs)), 1);
    EXPECT_EQ(parsed.candidates.at(0).attachmentIdentifiers, c.identifiers);
    EXPECT_EQ(parsed.attachmentIdentifiers, c.chosen);
  }
}

TEST(Utf8, MeasuresUtf16LengthAndRejectsIllFormedText) {
  struct Case {
    std::string bytes;
    std::optional<size_t> utf16Length;
    std::string lossy;
  };
  const std::string fffd = hex("EF BF BD");  // U+FFFD, the replacement character
  const std::vector<Case> cases = {
      {"", 0, ""},
      {"plain ascii longer than eight", 29, "plain ascii longer than eight"},
      {hex("C2 80"), 1, hex("C2 80")},              // U+0080
      {hex("ED 9F BF"), 1, hex("ED 9F BF")},        // U+D7FF
      {hex("EE 80 80"), 1, hex("EE 80 80")},        // U+E000
      {hex("EF BF BF"), 1, hex("EF BF BF")},        // U+FFFF
      {hex("F0 90 80 80"), 2, hex("F0 90 80 80")},  // U+10000
      {hex("F4 8F BF BF"), 2, hex("F4 8F BF BF")},  // U+10FFFF
      {"abcdefg" + hex("F0 9F 98 80") + "xyz", 12, "abcdefg" + hex("F0 9F 98 80") + "xyz"},
      {hex("C0 80"), std::nullopt, fffd + fffd},  // overlong
      {hex("E0 80 80"), std::nullopt, fffd + fffd + fffd},
      {hex("ED A0 80"), std::nullopt, fffd + fffd + fffd},  // surrogate
      {hex("F4 90 80 80"), std::nullopt, fffd + fffd + fffd + fffd},
      {"a" + hex("E2 82"), std::nullopt, "a" + fffd},  // truncated: one replacement
      {hex("E2 82") + "b", std::nullopt, fffd + "b"},
      {"abcdefgh" + hex("80"), std::nullopt, "abcdefgh" + fffd},
      {std::string(40, 'a') + hex("80"), std::nullopt, std::string(40, 'a') + fffd},
      {std::string(33, 'a') + hex("F0 9F 98 80"), 35, std::string(33, 'a') + hex("F0 9F 98 80")},
      {hex("F5"), std::nullopt, fffd},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.bytes));
    EXPECT_EQ(core::utf16LengthOfValidUtf8(c.bytes), c.utf16Length);
    EXPECT_EQ(core::replaceInvalidUtf8(c.bytes), c.lossy);
  }
}

// The UTF-16 offset of `needle` in `text`, counted apart from the decoder: one unit
// per lead byte, two for a four-byte sequence.
size_t utf16OffsetOf(const std::string& text, const std::string& needle) {
  size_t units = 0;
  for (const char c : text.substr(0, text.find(needle))) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte & 0xC0) != 0x80) units += byte >= 0xF0 ? 2 : 1;
  }
  return units;
}

// The line style of the run that covers the UTF-16 offset.
std::optional<Style> styleAt(const NotesDatabaseBodyTextCandidate& candidate, size_t offset) {
  size_t position = 0;
  for (const NotesDatabaseLineStyle& line : candidate.lineStyles) {
    if (offset < position + static_cast<size_t>(line.length)) return line.style;
    position += static_cast<size_t>(line.length);
  }
  return std::nullopt;
}

using RealLibraryBodies = internal::RealLibraryTest;

TEST_P(RealLibraryBodies, EveryUnlockedNoteDecodesWithItsTitleFirst) {
  const auto rows = library_->rows(
      "SELECT n.Z_PK, n.ZTITLE1, d.ZDATA FROM ZICCLOUDSYNCINGOBJECT n "
      "JOIN ZICNOTEDATA d ON d.Z_PK = n.ZNOTEDATA "
      "WHERE d.ZDATA IS NOT NULL AND IFNULL(n.ZISPASSWORDPROTECTED, 0) = 0");
  ASSERT_GE(rows.size(), 6u);
  for (const auto& row : rows) {
    SCOPED_TRACE("note " + row[0].value_or("?"));
    const NotesDatabaseParsedNote parsed = decodeNoteBody(*row[2], 1);
    ASSERT_EQ(parsed.candidates.size(), 2u) << "real bodies are gzip";
    const NotesDatabaseBodyTextCandidate* candidate = parsed.firstWithText();
    ASSERT_EQ(candidate, &parsed.candidates[0]);
    if (row[1]) {
      EXPECT_TRUE(candidate->text->starts_with(*row[1])) << *candidate->text;
    }
    int64_t total = 0;
    for (const NotesDatabaseLineStyle& line : candidate->lineStyles) total += line.length;
    EXPECT_EQ(static_cast<size_t>(total), core::utf16LengthOfValidUtf8(*candidate->text));
  }
}

TEST_P(RealLibraryBodies, ChecklistShowsItsDoneStatesAndTheTableIsAnAttachment) {
  const auto rows = library_->rows(
      "SELECT d.ZDATA, (SELECT a.ZIDENTIFIER FROM ZICCLOUDSYNCINGOBJECT a "
      "WHERE a.ZTYPEUTI = 'com.apple.notes.table') FROM ZICCLOUDSYNCINGOBJECT n "
      "JOIN ZICNOTEDATA d ON d.Z_PK = n.ZNOTEDATA WHERE n.ZTITLE1 = 'This note has special formatting'");
  ASSERT_EQ(rows.size(), 1u);
  const NotesDatabaseParsedNote parsed = decodeNoteBody(*rows[0][0], 1);
  const NotesDatabaseBodyTextCandidate* candidate = parsed.firstWithText();
  ASSERT_NE(candidate, nullptr);
  // Every item of the checklist in these libraries is unchecked.
  for (const std::string item : {"Item 1\n", "Item 2\n", "Item 3\n"}) {
    SCOPED_TRACE(item);
    ASSERT_NE(candidate->text->find(item), std::string::npos);
    EXPECT_EQ(styleAt(*candidate, utf16OffsetOf(*candidate->text, item)), Style{P::kChecklist});
  }
  EXPECT_EQ(styleAt(*candidate, 0), Style{P::kTitle});
  EXPECT_EQ(parsed.attachmentIdentifiers, std::set<std::string>{*rows[0][1]});
}

INSTANTIATE_TEST_SUITE_P(Libraries, RealLibraryBodies, testing::ValuesIn(internal::kRealLibraryNames));

}  // namespace
}  // namespace zephyl::notes_store
