#include "editor/internal/note_document_html.h"

#include <optional>
#include <string_view>
#include <vector>

#include "core/utf8.h"
#include "notes_store/note_paragraph_style.h"

namespace zephyl::editor::internal {
namespace {

using notes_store::NotesDatabaseAttributeStyle;

constexpr char32_t kAttachmentCharacter = U'\uFFFC';

enum class Block {
  kDiv,
  kTitle,
  kHeading,
  kSubheading,
  kMonospaced,
  kQuote,
  kBulleted,
  kNumbered,
  kChecklist
};

Block blockOf(const NotesDatabaseAttributeStyle* style) {
  if (style == nullptr) return Block::kDiv;
  switch (notes_store::noteParagraphStyle(style->styleType)) {
    case notes_store::NoteParagraphStyle::kTitle:
      return Block::kTitle;
    case notes_store::NoteParagraphStyle::kHeading:
      return Block::kHeading;
    case notes_store::NoteParagraphStyle::kSubheading:
      return Block::kSubheading;
    case notes_store::NoteParagraphStyle::kMonospaced:
      return Block::kMonospaced;
    case notes_store::NoteParagraphStyle::kDottedList:
    case notes_store::NoteParagraphStyle::kDashedList:
      return Block::kBulleted;
    case notes_store::NoteParagraphStyle::kNumberedList:
      return Block::kNumbered;
    case notes_store::NoteParagraphStyle::kChecklist:
      return Block::kChecklist;
    case notes_store::NoteParagraphStyle::kBody:
      break;
  }
  return style->blockQuote ? Block::kQuote : Block::kDiv;
}

bool isList(Block block) {
  return block == Block::kBulleted || block == Block::kNumbered || block == Block::kChecklist;
}

std::string escape(std::u32string_view text) {
  std::string out;
  for (char32_t c : text) {
    switch (c) {
      case U'&':
        out += "&amp;";
        break;
      case U'<':
        out += "&lt;";
        break;
      case U'>':
        out += "&gt;";
        break;
      case U'"':
        out += "&quot;";
        break;
      case kAttachmentCharacter:
        break;
      default:
        out += core::encodeUtf8(std::u32string_view(&c, 1));
    }
  }
  return out;
}

// The inline markup of one run's text.
std::string inlineHtml(std::u32string_view text, const NotesDatabaseAttributeStyle* style) {
  std::string html = escape(text);
  if (style == nullptr || html.empty()) return html;
  auto wrap = [&html](std::string_view tag) {
    html = "<" + std::string(tag) + ">" + html + "</" + std::string(tag) + ">";
  };
  if (style->fontWeight == 1 || style->fontWeight == 3) wrap("b");
  if (style->fontWeight == 2 || style->fontWeight == 3) wrap("i");
  if (style->underline) wrap("u");
  if (style->strikethrough) wrap("strike");
  if (style->link) {
    const std::u32string target = core::decodeUtf8(*style->link);
    html = "<a href=\"" + escape(target) + "\">" + html + "</a>";
  }
  return html;
}

std::string_view listTag(Block block) { return block == Block::kNumbered ? "ol" : "ul"; }

}  // namespace

std::string noteDocumentToNotesHtml(const notes_store::NoteDocument& document) {
  const std::u32string text = core::decodeUtf8(document.text);
  if (text.empty()) return {};
  // The run of each code point (nullptr past the runs), by UTF-16 lengths.
  std::vector<const NotesDatabaseAttributeStyle*> styleAt(text.size(), nullptr);
  size_t point = 0;
  for (const auto& run : document.runs) {
    int64_t units = run.length;
    while (units > 0 && point < text.size()) {
      styleAt[point] = &run;
      units -= text[point] > 0xFFFF ? 2 : 1;
      ++point;
    }
  }

  std::string html;
  std::optional<Block> openList;
  auto closeList = [&] {
    if (openList) html += "</" + std::string(listTag(*openList)) + ">\n";
    openList.reset();
  };
  size_t lineStart = 0;
  while (lineStart <= text.size()) {
    size_t lineEnd = text.find(U'\n', lineStart);
    const bool last = lineEnd == std::u32string::npos;
    if (last) lineEnd = text.size();
    if (last && lineStart == lineEnd && lineStart != 0) break;  // the text's final line feed

    const NotesDatabaseAttributeStyle* lineStyle =
        lineEnd < styleAt.size() ? styleAt[lineEnd]
                                 : (lineStart < styleAt.size() ? styleAt[lineStart] : nullptr);
    const Block block = blockOf(lineStyle);
    std::string content;
    for (size_t at = lineStart; at < lineEnd;) {
      size_t runEnd = at;
      while (runEnd < lineEnd && styleAt[runEnd] == styleAt[at]) ++runEnd;
      content += inlineHtml(std::u32string_view(text).substr(at, runEnd - at), styleAt[at]);
      at = runEnd;
    }

    if (isList(block)) {
      if (openList != block) {
        closeList();
        html += "<" + std::string(listTag(block)) + ">";
        openList = block;
      }
      html += "<li>" + content + "</li>";
    } else {
      closeList();
      const std::string body = content.empty() ? "<br>" : content;
      switch (block) {
        case Block::kTitle:
          html += "<h1>" + body + "</h1>\n";
          break;
        case Block::kHeading:
          html += "<h2>" + body + "</h2>\n";
          break;
        case Block::kSubheading:
          html += "<h3>" + body + "</h3>\n";
          break;
        case Block::kMonospaced:
          html += "<div><tt>" + body + "</tt></div>\n";
          break;
        case Block::kQuote:
          html += "<blockquote>" + body + "</blockquote>\n";
          break;
        default:
          html += "<div>" + body + "</div>\n";
          break;
      }
    }
    if (last) break;
    lineStart = lineEnd + 1;
  }
  closeList();
  return html;
}

}  // namespace zephyl::editor::internal
