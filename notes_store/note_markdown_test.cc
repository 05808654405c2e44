#include "notes_store/note_markdown.h"

#include <gtest/gtest.h>

namespace zephyl::notes_store {
namespace {

// Builds a document run by run; each run's length is the UTF-16 length of its text.
class DocumentBuilder {
 public:
  DocumentBuilder& run(std::string text, NotesDatabaseAttributeStyle style = {}) {
    int64_t units = 0;
    for (size_t i = 0; i < text.size();) {
      const auto c = static_cast<unsigned char>(text[i]);
      const size_t length = c < 0x80 ? 1 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : 4;
      units += length == 4 ? 2 : 1;
      i += length;
    }
    style.length = units;
    document_.text += text;
    document_.runs.push_back(style);
    return *this;
  }
  DocumentBuilder& styled(std::string text, int64_t styleType) {
    NotesDatabaseAttributeStyle style;
    style.styleType = styleType;
    return run(std::move(text), style);
  }
  const NoteDocument& document() const { return document_; }

 private:
  NoteDocument document_;
};

NotesDatabaseAttributeStyle inlineStyle(int64_t weight, bool underline = false, bool strike = false) {
  NotesDatabaseAttributeStyle style;
  style.fontWeight = weight;
  style.underline = underline;
  style.strikethrough = strike;
  return style;
}

TEST(NoteMarkdown, ParagraphStylesBecomeLinePrefixes) {
  NotesDatabaseAttributeStyle done;
  done.styleType = 103;
  done.checklistDone = true;
  NotesDatabaseAttributeStyle open;
  open.styleType = 103;
  open.checklistDone = false;
  NotesDatabaseAttributeStyle quoted;
  quoted.blockQuote = true;
  NotesDatabaseAttributeStyle quotedHeading;  // a heading is never also quoted
  quotedHeading.styleType = 1;
  quotedHeading.blockQuote = true;
  DocumentBuilder doc;
  doc.styled("Title\n", 0)
      .run("Heading\n", quotedHeading)
      .styled("Sub\n", 2)
      .styled("dash\n", 100)
      .styled("dot\n", 101)
      .styled("first\n", 102)
      .styled("second\n", 102)
      .run("milk\n", done)
      .run("eggs\n", open)
      .run("wise words\n", quoted)
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
  NotesDatabaseAttributeStyle child;
  child.styleType = 101;
  child.indentLevel = 1;
  NotesDatabaseAttributeStyle grandchild;
  grandchild.styleType = 103;
  grandchild.indentLevel = 2;
  DocumentBuilder doc;
  doc.styled("parent\n", 102).run("child\n", child).run("task\n", grandchild).styled("back\n", 102);
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
  NotesDatabaseAttributeStyle link;
  link.link = "https://example.com/a b(c)";
  NotesDatabaseAttributeStyle highlighted;
  highlighted.highlight = 3;
  NotesDatabaseAttributeStyle superscript;
  superscript.superscript = 1;
  DocumentBuilder doc;
  doc.run("Make ")
      .run("this bold ", inlineStyle(1))
      .run("and", inlineStyle(2))
      .run(" ")
      .run("both", inlineStyle(3))
      .run(", ")
      .run("struck", inlineStyle(0, false, true))
      .run(" ")
      .run("under", inlineStyle(0, true))
      .run(" ")
      .run("marked", highlighted)
      .run(" x")
      .run("2", superscript)
      .run(" ")
      .run("site", link)
      .run(" un")
      .run("believ", inlineStyle(2))
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
  NotesDatabaseAttributeStyle image;
  image.attachment = NotesDatabaseAttachmentInfo{"IMG-1", "public.jpeg"};
  NotesDatabaseAttributeStyle unknown;
  unknown.attachment = NotesDatabaseAttachmentInfo{"X-1", "com.example.thing"};
  NotesDatabaseAttributeStyle item;
  item.styleType = 101;
  DocumentBuilder doc;
  doc.run("line\xE2\x80\xA8same paragraph\x01\xEF\xBF\xBD\n")
      .run("item\xE2\x80\xA8more\n", item)
      .run("See ")
      .run("\xEF\xBF\xBC", image)
      .run(" and ")
      .run("\xEF\xBF\xBC", unknown);
  EXPECT_EQ(noteToMarkdown(doc.document()),
            "line  \nsame paragraph\n"
            "- item  \n  more\n"
            "\n"
            "See \\[Image: public.jpeg\\] and \\[Attachment: com.example.thing\\]\n");
}

TEST(NoteMarkdown, TablesRenderWhereTheyStandWithEscapedPipes) {
  auto cell = [](std::string text) {
    NoteDocument document;
    document.text = text;
    NotesDatabaseAttributeStyle style;
    style.length = static_cast<int64_t>(text.size());
    document.runs.push_back(style);
    return document;
  };
  NotesTable table;
  table.rows = {{cell("Name"), cell("Qty")}, {cell("a|b"), cell("2\nlines")}, {cell("short")}};
  NotesDatabaseAttributeStyle tableRun;
  tableRun.attachment = NotesDatabaseAttachmentInfo{"T-1", "com.apple.notes.table"};
  DocumentBuilder doc;
  doc.run("Shopping\n").run("\xEF\xBF\xBC", tableRun).run("\nAfter");
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
  NotesDatabaseAttributeStyle known;
  known.link = "applenotes:note/ABC-1?ownerIdentifier=x";
  NotesDatabaseAttributeStyle unknown;
  unknown.link = "applenotes:note/ZZZ";
  DocumentBuilder doc;
  doc.run("see ").run("plan", known).run(" or ").run("gone", unknown);
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
