#include "editor/internal/note_document_html.h"

#include <optional>
#include <string_view>
#include <vector>

#include "core/utf8.h"

namespace zephyl::editor::internal {
namespace {

using notes_store::NotesDatabaseAttributeStyle;

constexpr char32_t kAttachmentCharacter = U'\uFFFC';

enum class Block { div, title, heading, subheading, monospaced, quote, bulleted, numbered, checklist };

Block blockOf(const NotesDatabaseAttributeStyle* style) {
  if (style == nullptr) return Block::div;
  if (style->styleType) {
    switch (*style->styleType) {
      case 0:
        return Block::title;
      case 1:
        return Block::heading;
      case 2:
        return Block::subheading;
      case 4:
        return Block::monospaced;
      case 100:
      case 101:
        return Block::bulleted;
      case 102:
        return Block::numbered;
      case 103:
        return Block::checklist;
      default:
        break;
    }
  }
  return style->blockQuote ? Block::quote : Block::div;
}

bool isList(Block block) {
  return block == Block::bulleted || block == Block::numbered || block == Block::checklist;
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

std::string_view listTag(Block block) { return block == Block::numbered ? "ol" : "ul"; }

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
        case Block::title:
          html += "<h1>" + body + "</h1>\n";
          break;
        case Block::heading:
          html += "<h2>" + body + "</h2>\n";
          break;
        case Block::subheading:
          html += "<h3>" + body + "</h3>\n";
          break;
        case Block::monospaced:
          html += "<div><tt>" + body + "</tt></div>\n";
          break;
        case Block::quote:
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
