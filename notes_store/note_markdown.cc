#include "notes_store/note_markdown.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace zephyl::notes_store {
namespace {

constexpr std::string_view kObjectReplacement = "\xEF\xBF\xBC";  // U+FFFC
constexpr std::string_view kLineSeparator = "\xE2\x80\xA8";      // U+2028
constexpr std::string_view kTableType = "com.apple.notes.table";

struct InlineStyle {
  int64_t fontWeight = 0;
  bool underline = false;
  bool strikethrough = false;
  int64_t superscript = 0;
  std::optional<std::string> link;
  int64_t highlight = 0;
  bool operator==(const InlineStyle&) const = default;
};

struct Span {
  std::string text;
  InlineStyle style;
  std::optional<NotesDatabaseAttachmentInfo> attachment;  // set for a U+FFFC span
};

using Kind = NoteParagraphStyle;

struct Paragraph {
  std::vector<Span> spans;
  Kind kind = Kind::kBody;
  bool done = false;
  bool quote = false;
  int64_t indent = 0;
  bool styled = false;  // paragraph attributes taken from a run yet
};

size_t utf8Length(unsigned char lead) {
  if (lead < 0x80) return 1;
  if ((lead & 0xE0) == 0xC0) return 2;
  if ((lead & 0xF0) == 0xE0) return 3;
  if ((lead & 0xF8) == 0xF0) return 4;
  return 1;
}

// Byte offset in `text` after `units` UTF-16 code units from `start`, clamped to the end.
size_t advanceUtf16(std::string_view text, size_t start, int64_t units) {
  size_t position = start;
  while (units > 0 && position < text.size()) {
    const size_t length =
        std::min(utf8Length(static_cast<unsigned char>(text[position])), text.size() - position);
    units -= length == 4 ? 2 : 1;
    position += length;
  }
  return position;
}

// Splits the text covered by one run into paragraphs and spans.
class ParagraphBuilder {
 public:
  void add(std::string_view text, const InlineStyle& style,
           const std::optional<NotesDatabaseAttachmentInfo>& attachment, const Paragraph& attributes) {
    size_t start = 0;
    while (start <= text.size()) {
      const size_t newline = text.find('\n', start);
      const std::string_view piece =
          text.substr(start, newline == std::string_view::npos ? std::string_view::npos : newline - start);
      if (!piece.empty() || newline != std::string_view::npos) takeAttributes(attributes);
      appendPiece(piece, style, attachment);
      if (newline == std::string_view::npos) break;
      paragraphs_.push_back(std::move(current_));
      current_ = Paragraph{};
      start = newline + 1;
    }
  }

  std::vector<Paragraph> finish() {
    if (!current_.spans.empty()) paragraphs_.push_back(std::move(current_));
    return std::move(paragraphs_);
  }

 private:
  void takeAttributes(const Paragraph& attributes) {
    if (current_.styled) return;
    current_.kind = attributes.kind;
    current_.done = attributes.done;
    current_.quote = attributes.quote;
    current_.indent = attributes.indent;
    current_.styled = true;
  }

  void appendPiece(std::string_view piece, const InlineStyle& style,
                   const std::optional<NotesDatabaseAttachmentInfo>& attachment) {
    // Each U+FFFC is its own span so that an attachment renders where it stands.
    size_t start = 0;
    while (start < piece.size()) {
      const size_t mark = piece.find(kObjectReplacement, start);
      if (mark != start) appendText(piece.substr(start, mark - start), style);
      if (mark == std::string_view::npos) break;
      current_.spans.push_back({std::string(kObjectReplacement), style, attachment});
      start = mark + kObjectReplacement.size();
    }
  }

  void appendText(std::string_view text, const InlineStyle& style) {
    if (text.empty()) return;
    if (!current_.spans.empty() && !current_.spans.back().attachment &&
        current_.spans.back().style == style) {
      current_.spans.back().text += text;
    } else {
      current_.spans.push_back({std::string(text), style, std::nullopt});
    }
  }

  std::vector<Paragraph> paragraphs_;
  Paragraph current_;
};

Paragraph attributesOf(const NotesDatabaseAttributeStyle& run) {
  Paragraph paragraph;
  paragraph.indent = run.indentLevel;
  paragraph.kind = noteParagraphStyle(run.styleType);
  paragraph.done = paragraph.kind == Kind::kChecklist && run.checklistDone.value_or(false);
  // Only body lines are ever quoted.
  paragraph.quote = paragraph.kind == Kind::kBody && run.blockQuote;
  return paragraph;
}

Paragraph attributesOf(const std::optional<NotesDatabaseMarkdownStyle>& style) {
  Paragraph paragraph;
  if (!style) return paragraph;
  paragraph.kind = style->paragraph;
  paragraph.done = style->checked;
  paragraph.quote = style->quote;
  return paragraph;
}

// ---- Inline text ----------------------------------------------------------

bool isAsciiAlnum(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Whether a character takes a backslash in inline text, outside tables (bit
// 0) and inside them (bit 1).
constexpr std::array<uint8_t, 256> kInlineEscapes = [] {
  std::array<uint8_t, 256> table{};
  for (const unsigned char c : std::string_view("\\`*_[]<~")) table[c] = 3;
  table['|'] = 2;
  return table;
}();

void appendEscapedInline(std::string& out, std::string_view text, bool inTable) {
  const uint8_t bit = inTable ? 2 : 1;
  size_t run = 0;  // the start of the text not yet appended
  for (size_t i = 0; i < text.size(); ++i) {
    if (kInlineEscapes[static_cast<unsigned char>(text[i])] & bit) {
      out.append(text, run, i - run);
      out += '\\';
      run = i;
    }
  }
  out.append(text, run, text.size() - run);
}

std::string escapeInline(std::string_view text, bool inTable) {
  std::string out;
  out.reserve(text.size() + 8);
  appendEscapedInline(out, text, inTable);
  return out;
}

std::string linkDestination(std::string_view url) {
  std::string out;
  for (char c : url) {
    switch (c) {
      case ' ':
        out += "%20";
        break;
      case '(':
        out += "%28";
        break;
      case ')':
        out += "%29";
        break;
      case '<':
        out += "%3C";
        break;
      case '>':
        out += "%3E";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string resolveLink(const std::string& link, const NoteMarkdownOptions& options) {
  if (options.noteLinkTarget && link.starts_with(kNoteLinkPrefix)) {
    std::string_view identifier = std::string_view(link).substr(kNoteLinkPrefix.size());
    identifier = identifier.substr(0, identifier.find_first_of("?#"));
    if (auto target = options.noteLinkTarget(identifier)) return linkDestination(*target);
  }
  return linkDestination(link);
}

std::string attachmentLabel(std::string_view type) {
  struct Label {
    std::string_view prefix;
    std::string_view label;
  };
  static constexpr Label kLabels[] = {
      {"com.apple.notes.table", "Table"},
      {"com.apple.notes.gallery", "Scanned document"},
      {"com.apple.notes.inlinetextattachment.hashtag", "Hashtag"},
      {"com.apple.notes.inlinetextattachment.mention", "Mention"},
      {"com.apple.notes.inlinetextattachment.link", "Note link"},
      {"com.apple.drawing", "Drawing"},
      {"com.apple.paper", "Drawing"},
      {"com.adobe.pdf", "PDF"},
      {"public.url", "Web link"},
      {"public.vcard", "Contact"},
      {"public.jpeg", "Image"},
      {"public.png", "Image"},
      {"public.heic", "Image"},
      {"public.tiff", "Image"},
      {"public.image", "Image"},
      {"com.compuserve.gif", "Image"},
      {"public.mpeg-4-audio", "Audio"},
      {"com.apple.m4a-audio", "Audio"},
      {"public.audio", "Audio"},
      {"public.mp3", "Audio"},
      {"com.apple.quicktime-movie", "Video"},
      {"public.mpeg-4", "Video"},
      {"public.movie", "Video"},
  };
  for (const Label& entry : kLabels) {
    if (type.starts_with(entry.prefix)) return std::string(entry.label);
  }
  return "Attachment";
}

std::string attachmentPlaceholder(const NotesDatabaseAttachmentInfo& attachment) {
  std::string text = attachmentLabel(attachment.typeUTI);
  if (!attachment.typeUTI.empty()) text += ": " + attachment.typeUTI;
  return "\\[" + escapeInline(text, false) + "\\]";
}

// Wraps already escaped text in the markers of its style. Whitespace at either
// end stays outside the markers, where emphasis can close and open.
std::string styled(const std::string& escaped, const InlineStyle& style, bool italicWithStar,
                   const NoteMarkdownOptions& options) {
  const size_t first = escaped.find_first_not_of(" \t");
  if (first == std::string::npos) return escaped;
  const size_t last = escaped.find_last_not_of(" \t");
  std::string inner = escaped.substr(first, last - first + 1);
  if (style.superscript > 0) inner = "<sup>" + inner + "</sup>";
  if (style.superscript < 0) inner = "<sub>" + inner + "</sub>";
  if (style.highlight != 0) inner = "<mark>" + inner + "</mark>";
  if (style.underline) inner = "<u>" + inner + "</u>";
  if (style.strikethrough) inner = "~~" + inner + "~~";
  const std::string italic = italicWithStar ? "*" : "_";
  switch (style.fontWeight) {
    case 1:
      inner = "**" + inner + "**";
      break;
    case 2:
      inner = italic + inner + italic;
      break;
    case 3:
      inner = "**" + italic + inner + italic + "**";
      break;
    default:
      break;
  }
  if (style.link) inner = "[" + inner + "](" + resolveLink(*style.link, options) + ")";
  return escaped.substr(0, first) + inner + escaped.substr(last + 1);
}

// One output line of inline Markdown, or a table block standing alone.
struct Piece {
  std::string text;
  bool isTable = false;
};

std::vector<Piece> renderSpans(const std::vector<Span>& spans, const NoteTables& tables,
                               const NoteMarkdownOptions& options, bool inTable,
                               const std::string& softBreak) {
  std::vector<Piece> pieces(1);
  for (size_t i = 0; i < spans.size(); ++i) {
    const Span& span = spans[i];
    if (span.attachment) {
      const auto table = tables.find(span.attachment->identifier);
      if (table != tables.end() && !inTable) {
        pieces.push_back({tableToMarkdown(table->second, options), true});
        pieces.push_back({});
        continue;
      }
      std::optional<std::string> visible;
      if (options.attachmentText) visible = options.attachmentText(span.attachment->identifier);
      std::string placeholder = visible ? escapeInline(removeControlCharacters(*visible), inTable)
                                        : attachmentPlaceholder(*span.attachment);
      pieces.back().text += span.style.link ? styled(placeholder, span.style, false, options) : placeholder;
      continue;
    }
    // Most text holds nothing to remove, and most spans no style: they go
    // straight to the line, escaped, without copies on the way.
    std::string removed;
    const bool needsCleaning = std::any_of(span.text.begin(), span.text.end(), [](char c) {
      const auto byte = static_cast<unsigned char>(c);
      return (byte < 0x20 && c != '\t' && c != '\n' && c != '\r') || byte == 0xEF;
    });
    if (needsCleaning) removed = removeControlCharacters(span.text);
    const std::string_view clean = needsCleaning ? std::string_view(removed) : std::string_view(span.text);
    const bool plain = span.style == InlineStyle{};
    // Italic inside a word needs "*": "_" does not open or close there.
    const bool before = !pieces.back().text.empty() && isAsciiAlnum(pieces.back().text.back());
    const bool after =
        i + 1 < spans.size() && !spans[i + 1].text.empty() && isAsciiAlnum(spans[i + 1].text.front());
    const bool star = before || after;
    size_t start = 0;
    while (true) {
      const size_t separator = clean.find(kLineSeparator, start);
      const std::string_view part =
          clean.substr(start, separator == std::string::npos ? std::string::npos : separator - start);
      if (plain) {
        appendEscapedInline(pieces.back().text, part, inTable);
      } else {
        pieces.back().text += styled(escapeInline(part, inTable), span.style, star, options);
      }
      if (separator == std::string::npos) break;
      pieces.back().text += softBreak;
      start = separator + kLineSeparator.size();
    }
  }
  return pieces;
}

// Escapes what would make the start of a line a block of its own.
std::string escapeLineStart(const std::string& text) {
  if (text.empty()) return text;
  size_t indent = 0;
  std::string out;
  // Leading blanks would be eaten, or turn the line into code: keep them as references.
  while (indent < text.size() && (text[indent] == ' ' || text[indent] == '\t')) {
    out += text[indent] == ' ' ? "&#32;" : "&#9;";
    ++indent;
  }
  const char c = indent < text.size() ? text[indent] : '\0';
  if (c == '#' || c == '>' || c == '-' || c == '+' || c == '=') {
    out += '\\';
  } else if (c >= '0' && c <= '9') {
    size_t digits = indent;
    while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9') ++digits;
    if (digits < text.size() && (text[digits] == '.' || text[digits] == ')')) {
      return out + text.substr(indent, digits - indent) + "\\" + text.substr(digits);
    }
  }
  return out + text.substr(indent);
}

std::string codeFence(const std::string& content) {
  size_t longest = 0;
  size_t run = 0;
  for (char c : content) {
    run = c == '`' ? run + 1 : 0;
    longest = std::max(longest, run);
  }
  return std::string(std::max<size_t>(3, longest + 1), '`');
}

class MarkdownRenderer {
 public:
  MarkdownRenderer(const NoteTables& tables, const NoteMarkdownOptions& options)
      : tables_(tables), options_(options) {}

  std::string render(const std::vector<Paragraph>& paragraphs) {
    for (size_t i = 0; i < paragraphs.size(); ++i) {
      const Paragraph& paragraph = paragraphs[i];
      if (paragraph.kind == Kind::kMonospaced) {
        size_t end = i;
        while (end < paragraphs.size() && paragraphs[end].kind == Kind::kMonospaced) ++end;
        renderCode(paragraphs, i, end);
        i = end - 1;
        continue;
      }
      const Paragraph* next = i + 1 < paragraphs.size() ? &paragraphs[i + 1] : nullptr;
      renderParagraph(paragraph, next);
    }
    while (!out_.empty() && out_.back() == '\n') out_.pop_back();
    if (!out_.empty()) out_ += '\n';
    return out_;
  }

 private:
  enum class Block { kNone, kBlank, kParagraph, kList, kQuote, kHeading, kSeparate };

  void line(const std::string& text, Block block) {
    out_ += text;
    out_ += '\n';
    last_ = block;
  }

  void blankLine() {
    if (last_ != Block::kNone && last_ != Block::kBlank) line("", Block::kBlank);
  }

  void renderCode(const std::vector<Paragraph>& paragraphs, size_t begin, size_t end) {
    std::string content;
    for (size_t i = begin; i < end; ++i) {
      for (const Span& span : paragraphs[i].spans) {
        if (span.attachment) {
          content += "[" + attachmentLabel(span.attachment->typeUTI) + "]";
          continue;
        }
        std::string text = removeControlCharacters(span.text);
        for (size_t at = text.find(kLineSeparator); at != std::string::npos;
             at = text.find(kLineSeparator, at)) {
          text.replace(at, kLineSeparator.size(), "\n");
        }
        content += text;
      }
      content += '\n';
    }
    const std::string fence = codeFence(content);
    blankLine();
    out_ += fence + "\n" + content + fence + "\n";
    last_ = Block::kSeparate;
    listWidths_.clear();
  }

  void renderParagraph(const Paragraph& paragraph, const Paragraph* next) {
    if (paragraph.spans.empty()) {
      line("", Block::kBlank);
      listWidths_.clear();
      return;
    }
    std::string prefix(markdownLinePrefix(paragraph.kind, paragraph.done));
    std::string continuation;
    Block block = Block::kParagraph;
    if (isListStyle(paragraph.kind)) {
      block = Block::kList;
    } else if (!prefix.empty()) {
      block = Block::kHeading;
    } else if (paragraph.quote) {
      prefix = "> ";
      block = Block::kQuote;
    }
    if (isListStyle(paragraph.kind)) {
      // Nested items are indented to the content of their parent item.
      const size_t level = static_cast<size_t>(std::clamp<int64_t>(paragraph.indent, 0, 16));
      listWidths_.resize(level + 1, 2);
      std::string indent;
      for (size_t k = 0; k < level; ++k) indent.append(listWidths_[k], ' ');
      listWidths_[level] = prefix.size() == 6 ? 2 : prefix.size();
      prefix = indent + prefix;
      continuation = std::string(indent.size() + listWidths_[level], ' ');
    } else {
      listWidths_.clear();
      continuation = block == Block::kQuote ? "> " : "";
    }

    // A plain paragraph after a list or a quote would be taken into it.
    if (block == Block::kParagraph && (last_ == Block::kList || last_ == Block::kQuote)) blankLine();
    if (block == Block::kQuote && last_ == Block::kList) blankLine();
    if (last_ == Block::kSeparate) blankLine();

    const bool heading = block == Block::kHeading;
    const std::string softBreak = heading ? " " : "  \n" + continuation;
    std::vector<Piece> pieces = renderSpans(paragraph.spans, tables_, options_, false, softBreak);
    bool wrote = false;
    for (Piece& piece : pieces) {
      if (piece.isTable) {
        blankLine();
        out_ += piece.text;
        last_ = Block::kSeparate;
        continue;
      }
      if (piece.text.empty() && (wrote || pieces.size() > 1)) continue;
      if (last_ == Block::kSeparate) blankLine();
      std::string text = escapeLineStart(piece.text);
      // Consecutive lines of one paragraph kind keep their line breaks.
      const bool breakAfter = !heading && block != Block::kList && next != nullptr && !next->spans.empty() &&
                              next->kind == paragraph.kind && next->quote == paragraph.quote &&
                              !startsWithTable(*next) && &piece == &pieces.back();
      if (breakAfter) text += "  ";
      line(prefix + text, block);
      prefix = continuation;
      wrote = true;
    }
  }

  bool startsWithTable(const Paragraph& paragraph) const {
    const Span& first = paragraph.spans.front();
    return first.attachment && tables_.count(first.attachment->identifier) != 0;
  }

  const NoteTables& tables_;
  const NoteMarkdownOptions& options_;
  std::string out_;
  Block last_ = Block::kNone;
  std::vector<size_t> listWidths_;  // content indent of each open list level
};

}  // namespace

std::string removeControlCharacters(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c < 0x20 && c != '\t' && c != '\n' && c != '\r') continue;
    if (c == 0xEF && i + 2 < text.size() && static_cast<unsigned char>(text[i + 1]) == 0xBF &&
        static_cast<unsigned char>(text[i + 2]) == 0xBD) {
      i += 2;  // U+FFFD
      continue;
    }
    out += static_cast<char>(c);
  }
  return out;
}

std::string tableToMarkdown(const NotesTable& table, const NoteMarkdownOptions& options) {
  const size_t columns = table.columnCount();
  if (table.rows.empty() || columns == 0) return "\\[Table\\]\n";
  auto cellText = [&](const NoteDocument& cell) {
    ParagraphBuilder builder;
    size_t position = 0;
    for (const auto& run : cell.runs) {
      const size_t end = advanceUtf16(cell.text, position, run.length);
      builder.add(
          std::string_view(cell.text).substr(position, end - position),
          {run.fontWeight, run.underline, run.strikethrough, run.superscript, run.link, run.highlight},
          run.attachment, Paragraph{});
      position = end;
    }
    if (position < cell.text.size())
      builder.add(std::string_view(cell.text).substr(position), {}, std::nullopt, {});
    std::string text;
    for (const Paragraph& paragraph : builder.finish()) {
      if (!text.empty()) text += "<br>";
      for (const Piece& piece : renderSpans(paragraph.spans, {}, options, true, "<br>")) text += piece.text;
    }
    return text;
  };
  std::string out;
  for (size_t r = 0; r < table.rows.size(); ++r) {
    out += "|";
    for (size_t c = 0; c < columns; ++c) {
      const std::string text = c < table.rows[r].size() ? cellText(table.rows[r][c]) : "";
      out += " " + text + " |";
    }
    out += "\n";
    if (r == 0) {
      out += "|";
      for (size_t c = 0; c < columns; ++c) out += " --- |";
      out += "\n";
    }
  }
  return out;
}

std::string noteToMarkdown(const NoteDocument& document, const NoteTables& tables,
                           const NoteMarkdownOptions& options) {
  ParagraphBuilder builder;
  const std::string_view text = document.text;
  size_t position = 0;
  for (const NotesDatabaseAttributeStyle& run : document.runs) {
    if (position >= text.size()) break;
    const size_t end = advanceUtf16(text, position, run.length);
    builder.add(text.substr(position, end - position),
                {run.fontWeight, run.underline, run.strikethrough, run.superscript, run.link, run.highlight},
                run.attachment, attributesOf(run));
    position = end;
  }
  if (position < text.size()) builder.add(text.substr(position), {}, std::nullopt, Paragraph{});
  return MarkdownRenderer(tables, options).render(builder.finish());
}

std::string parsedNoteToMarkdown(const NotesDatabaseParsedNote& note, const NoteTables& tables) {
  const NotesDatabaseBodyTextCandidate* candidate = note.firstWithText();
  if (candidate == nullptr) return {};
  const std::string_view text = *candidate->text;
  // Attachments are known by identifier only; they are matched to U+FFFC in order.
  std::vector<std::string> identifiers = candidate->attachmentIdentifiers;
  size_t nextAttachment = 0;
  ParagraphBuilder builder;
  size_t position = 0;
  auto addText = [&](std::string_view part, const Paragraph& attributes) {
    size_t start = 0;
    while (start < part.size()) {
      const size_t mark = part.find(kObjectReplacement, start);
      if (mark != start) builder.add(part.substr(start, mark - start), {}, std::nullopt, attributes);
      if (mark == std::string_view::npos) break;
      std::optional<NotesDatabaseAttachmentInfo> attachment;
      if (nextAttachment < identifiers.size()) {
        const std::string& identifier = identifiers[nextAttachment++];
        attachment = NotesDatabaseAttachmentInfo{
            identifier, tables.count(identifier) ? std::string(kTableType) : std::string()};
      }
      builder.add(kObjectReplacement, {}, attachment, attributes);
      start = mark + kObjectReplacement.size();
    }
  };
  for (const NotesDatabaseLineStyle& style : candidate->lineStyles) {
    if (position >= text.size()) break;
    const size_t end = advanceUtf16(text, position, style.length);
    addText(text.substr(position, end - position), attributesOf(style.style));
    position = end;
  }
  if (position < text.size()) addText(text.substr(position), Paragraph{});
  return MarkdownRenderer(tables, NoteMarkdownOptions{}).render(builder.finish());
}

}  // namespace zephyl::notes_store
