#include "notes_store/note_markdown.h"

#include <gtest/gtest.h>

#include "core/utf8.h"

namespace zephyl::notes_store {
namespace {

// Builds a document run by run; each run's length is the UTF-16 length of its text.
class DocumentBuilder {
 public:
  DocumentBuilder& run(std::string text, NotesDatabaseAttributeStyle style = {}) {
    style.length = static_cast<int64_t>(core::utf16LengthOfValidUtf8(text).value());
    document_.text += text;
    document_.runs.push_back(style);
    return *this;
  }
  DocumentBuilder& styled(std::string text, int64_t styleType) {
    return run(std::move(text), {.styleType = styleType});
  }
  const NoteDocument& document() const { return document_; }

 private:
  NoteDocument document_;
};

TEST(NoteMarkdown, ParagraphStylesBecomeLinePrefixes) {
  DocumentBuilder doc;
  doc.styled("Title\n", 0)
      .run("Heading\n", {.styleType = 1, .blockQuote = true})  // a heading is never also quoted
      .styled("Sub\n", 2)
      .styled("dash\n", 100)
      .styled("dot\n", 101)
      .styled("first\n", 102)
      .styled("second\n", 102)
      .run("milk\n", {.styleType = 103, .checklistDone = true})
      .run("eggs\n", {.styleType = 103, .checklistDone = false})
      .run("wise words\n", {.blockQuote = true})
      .styled("odd style three\n", 3);
  EXPECT_EQ(noteToMarkdown(doc.document()),
            "# Title\n"
            "## Heading\n"
            "### Sub\n"
            "- dash\n"
            "- dot\n"
            "1. first\n"
            "1. second\n"
            "- [x] milk\n"
            "- [ ] eggs\n"
            "\n"
            "> wise words\n"
            "\n"
            "odd style three\n");
}

TEST(NoteMarkdown, NestedListsIndentToTheirParentsContent) {
  DocumentBuilder doc;
  doc.styled("parent\n", 102)
      .run("child\n", {.styleType = 101, .indentLevel = 1})
      .run("task\n", {.styleType = 103, .indentLevel = 2})
      .styled("back\n", 102);
  EXPECT_EQ(noteToMarkdown(doc.document()),
            "1. parent\n"
            "   - child\n"
            "     - [ ] task\n"
            "1. back\n");
}

TEST(NoteMarkdown, MonospacedLinesShareOneFenceThatTheirContentCannotClose) {
  DocumentBuilder doc;
  doc.run("Before\n").styled("int a;\n", 4).styled("``` not a fence\n", 4).styled("int b;\n", 4).run("After");
  EXPECT_EQ(noteToMarkdown(doc.document()),
            "Before\n"
            "\n"
            "````\n"
            "int a;\n"
            "``` not a fence\n"
            "int b;\n"
            "````\n"
            "\n"
            "After\n");
}

TEST(NoteMarkdown, InlineStylesWrapTextButNotItsOuterBlanks) {
  DocumentBuilder doc;
  doc.run("Make")
      .run(" this bold ", {.fontWeight = 1})
      .run("and", {.fontWeight = 2})
      .run(" ")
      .run("both", {.fontWeight = 3})
      .run(", ")
      .run("struck", {.strikethrough = true})
      .run(" ")
      .run("under", {.underline = true})
      .run(" ")
      .run("marked", {.highlight = 3})
      .run(" x")
      .run("2", {.superscript = 1})
      .run(" ")
      .run("site", {.link = "https://example.com/a b(c)"})
      .run(" un")
      .run("believ", {.fontWeight = 2})
      .run("able");
  EXPECT_EQ(noteToMarkdown(doc.document()),
            "Make **this bold** _and_ **_both_**, ~~struck~~ <u>under</u> <mark>marked</mark> x<sup>2</sup> "
            "[site](https://example.com/a%20b%28c%29) un*believ*able\n");
}

TEST(NoteMarkdown, TextThatMarkdownWouldMisreadIsEscaped) {
  DocumentBuilder doc;
  doc.run(
      "# not a heading\n- not a list\n1. not numbered\n2) nor this\n> no quote\n"
      "a [bracket] *star* _under_ `tick` <tag> ~~x~~ back\\slash\n    indented\n+ plus\n");
  EXPECT_EQ(noteToMarkdown(doc.document()),
            "\\# not a heading  \n"
            "\\- not a list  \n"
            "1\\. not numbered  \n"
            "2\\) nor this  \n"
            "\\> no quote  \n"
            "a \\[bracket\\] \\*star\\* \\_under\\_ \\`tick\\` \\<tag> \\~\\~x\\~\\~ back\\\\slash  \n"
            "&#32;&#32;&#32;&#32;indented  \n"
            "\\+ plus\n");
}

TEST(NoteMarkdown, SoftBreaksControlCharactersAndAttachments) {
  DocumentBuilder doc;
  doc.run("line\xE2\x80\xA8same paragraph\x01\xEF\xBF\xBD\n")
      .styled("item\xE2\x80\xA8more\n", 101)
      .run("See ")
      .run("\xEF\xBF\xBC", {.attachment = NotesDatabaseAttachmentInfo{"IMG-1", "public.jpeg"}})
      .run(" and ")
      .run("\xEF\xBF\xBC", {.attachment = NotesDatabaseAttachmentInfo{"X-1", "com.example.thing"}});
  EXPECT_EQ(noteToMarkdown(doc.document()),
            "line  \nsame paragraph\n"
            "- item  \n  more\n"
            "\n"
            "See \\[Image: public.jpeg\\] and \\[Attachment: com.example.thing\\]\n");
}

TEST(NoteMarkdown, TablesRenderWhereTheyStandWithEscapedPipes) {
  auto cell = [](std::string text) { return DocumentBuilder().run(std::move(text)).document(); };
  NotesTable table;
  table.rows = {{cell("Name"), cell("Qty")}, {cell("a|b"), cell("2\nlines")}, {cell("short")}};
  DocumentBuilder doc;
  doc.run("Shopping\n")
      .run("\xEF\xBF\xBC", {.attachment = NotesDatabaseAttachmentInfo{"T-1", "com.apple.notes.table"}})
      .run("\nAfter");
  EXPECT_EQ(noteToMarkdown(doc.document(), {{"T-1", table}}),
            "Shopping\n"
            "\n"
            "| Name | Qty |\n"
            "| --- | --- |\n"
            "| a\\|b | 2<br>lines |\n"
            "| short |  |\n"
            "\n"
            "After\n");
  // Without its decoded table the attachment still says what it was.
  EXPECT_EQ(noteToMarkdown(doc.document()), "Shopping  \n\\[Table: com.apple.notes.table\\]  \nAfter\n");
}

TEST(NoteMarkdown, LinksToOtherNotesGoThroughTheResolver) {
  DocumentBuilder doc;
  doc.run("see ")
      .run("plan", {.link = "applenotes:note/ABC-1?ownerIdentifier=x"})
      .run(" or ")
      .run("gone", {.link = "applenotes:note/ZZZ"});
  NoteMarkdownOptions options;
  options.noteLinkTarget = [](std::string_view id) -> std::optional<std::string> {
    if (id == "ABC-1") return "../Work/Plan (2).md";
    return std::nullopt;
  };
  EXPECT_EQ(noteToMarkdown(doc.document(), {}, options),
            "see [plan](../Work/Plan%20%282%29.md) or [gone](applenotes:note/ZZZ)\n");
}

TEST(NoteMarkdown, ParsedNoteUsesLineStylesOnly) {
  NotesDatabaseParsedNote note;
  NotesDatabaseBodyTextCandidate candidate;
  candidate.text = "Title\ncode\nitem\nplain";
  candidate.lineStyles = {{6, NotesDatabaseMarkdownStyle{NoteParagraphStyle::kTitle}},
                          {5, NotesDatabaseMarkdownStyle{NoteParagraphStyle::kMonospaced}},
                          {5, NotesDatabaseMarkdownStyle{NoteParagraphStyle::kChecklist, true}},
                          {5, std::nullopt}};
  note.candidates = {NotesDatabaseBodyTextCandidate{}, candidate};
  EXPECT_EQ(parsedNoteToMarkdown(note), "# Title\n\n```\ncode\n```\n\n- [x] item\n\nplain\n");
}

}  // namespace
}  // namespace zephyl::notes_store
