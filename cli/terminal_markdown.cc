#include "cli/terminal_markdown.h"

#include <md4c.h>

#include <algorithm>
#include <vector>

#include "cli/terminal.h"

namespace zephyl::cli {
namespace {

constexpr std::string_view kReset = "\x1b[0m";
constexpr std::string_view kBold = "\x1b[1m";
constexpr std::string_view kDim = "\x1b[2m";
constexpr std::string_view kItalic = "\x1b[3m";
constexpr std::string_view kUnderline = "\x1b[4m";
constexpr std::string_view kStrike = "\x1b[9m";
constexpr std::string_view kHeading = "\x1b[1;36m";
constexpr std::string_view kCode = "\x1b[33m";
constexpr std::string_view kLink = "\x1b[4;34m";

struct ListState {
  bool ordered = false;
  unsigned next = 1;
};

class Renderer {
 public:
  explicit Renderer(bool color) : color_(color) {}

  std::string render(std::string_view markdown) {
    MD_PARSER parser{};
    parser.abi_version = 0;
    parser.flags = MD_DIALECT_GITHUB | MD_FLAG_NOHTML;
    parser.enter_block = [](MD_BLOCKTYPE type, void* detail, void* self) {
      return static_cast<Renderer*>(self)->enterBlock(type, detail);
    };
    parser.leave_block = [](MD_BLOCKTYPE type, void* detail, void* self) {
      return static_cast<Renderer*>(self)->leaveBlock(type, detail);
    };
    parser.enter_span = [](MD_SPANTYPE type, void* detail, void* self) {
      return static_cast<Renderer*>(self)->enterSpan(type, detail);
    };
    parser.leave_span = [](MD_SPANTYPE type, void* detail, void* self) {
      return static_cast<Renderer*>(self)->leaveSpan(type, detail);
    };
    parser.text = [](MD_TEXTTYPE type, const MD_CHAR* text, MD_SIZE size, void* self) {
      return static_cast<Renderer*>(self)->text(type, std::string_view(text, size));
    };
    if (md_parse(markdown.data(), static_cast<MD_SIZE>(markdown.size()), &parser, this) != 0) {
      return std::string(markdown);  // never lose the answer to a parser failure
    }
    while (out_.ends_with('\n')) out_.pop_back();
    return out_;
  }

 private:
  void style(std::string_view code) {
    if (color_) target() += code;
  }
  void reset() {
    if (!color_) return;
    target() += kReset;
    // Styles still open outside the span that ended are restored.
    for (std::string_view open : openStyles_) target() += open;
  }
  void pushStyle(std::string_view code) {
    openStyles_.push_back(code);
    style(code);
  }
  void popStyle() {
    if (!openStyles_.empty()) openStyles_.pop_back();
    reset();
  }

  // Text goes to the current table cell while one is open.
  std::string& target() { return inCell_ ? table_.back().back() : out_; }

  // The prefix of a new line inside quotes and list items.
  std::string indent() const {
    std::string prefix;
    for (int i = 0; i < quoteDepth_; ++i)
      prefix += color_ ? std::string(kDim) + "│ " + std::string(kReset) : "│ ";
    prefix += std::string(
        static_cast<size_t>(2 * std::max(0, static_cast<int>(lists_.size()) - 1)) + (lists_.empty() ? 0 : 2),
        ' ');
    return prefix;
  }

  void startLine() {
    if (!out_.empty() && !out_.ends_with('\n')) out_ += '\n';
    if (pendingBullet_.empty()) {
      out_ += indent();
    } else {
      // The item's first line carries its marker in place of the last indent.
      std::string prefix = indent();
      prefix.resize(prefix.size() >= 2 ? prefix.size() - 2 : 0);
      out_ += prefix + pendingBullet_;
      pendingBullet_.clear();
    }
  }

  void endBlock() {
    if (!out_.ends_with('\n')) out_ += '\n';
    // Blocks are separated by a blank line, except inside tight lists.
    if (lists_.empty() || looseList_) out_ += '\n';
  }

  int enterBlock(MD_BLOCKTYPE type, void* detail) {
    switch (type) {
      case MD_BLOCK_DOC:
        break;
      case MD_BLOCK_QUOTE:
        ++quoteDepth_;
        break;
      case MD_BLOCK_UL: {
        const auto* ul = static_cast<MD_BLOCK_UL_DETAIL*>(detail);
        lists_.push_back({false, 1});
        looseList_ = ul->is_tight == 0;
        break;
      }
      case MD_BLOCK_OL: {
        const auto* ol = static_cast<MD_BLOCK_OL_DETAIL*>(detail);
        lists_.push_back({true, ol->start});
        looseList_ = ol->is_tight == 0;
        break;
      }
      case MD_BLOCK_LI: {
        const auto* li = static_cast<MD_BLOCK_LI_DETAIL*>(detail);
        ListState& list = lists_.back();
        if (li->is_task) {
          pendingBullet_ = (li->task_mark == ' ') ? "☐ " : "☑ ";
        } else if (list.ordered) {
          pendingBullet_ = std::to_string(list.next++) + ". ";
        } else {
          pendingBullet_ = "• ";
        }
        // A longer marker ("10. ") keeps the text aligned by eating the indent.
        if (pendingBullet_.size() < 2) pendingBullet_ += ' ';
        startLine();
        break;
      }
      case MD_BLOCK_HR:
        startLine();
        style(kDim);
        out_ += "────────────────────────────────────────";
        reset();
        break;
      case MD_BLOCK_H: {
        const auto* heading = static_cast<MD_BLOCK_H_DETAIL*>(detail);
        startLine();
        pushStyle(heading->level == 1 ? std::string_view("\x1b[1;4;36m") : kHeading);
        if (!color_) out_ += std::string(heading->level, '#') + " ";
        break;
      }
      case MD_BLOCK_CODE:
        if (!out_.empty() && !out_.ends_with('\n')) out_ += '\n';
        inCodeBlock_ = true;
        codeLineStart_ = true;
        break;
      case MD_BLOCK_HTML:
        break;
      case MD_BLOCK_P:
        if (!pendingBullet_.empty() || !out_.ends_with(' ')) startLine();
        break;
      case MD_BLOCK_TABLE:
        table_.clear();
        headerRows_ = 0;
        break;
      case MD_BLOCK_THEAD:
        inHeader_ = true;
        break;
      case MD_BLOCK_TBODY:
        break;
      case MD_BLOCK_TR:
        table_.emplace_back();
        if (inHeader_) ++headerRows_;
        break;
      case MD_BLOCK_TH:
      case MD_BLOCK_TD:
        table_.back().emplace_back();
        inCell_ = true;
        break;
    }
    return 0;
  }

  int leaveBlock(MD_BLOCKTYPE type, void*) {
    switch (type) {
      case MD_BLOCK_DOC:
        break;
      case MD_BLOCK_QUOTE:
        --quoteDepth_;
        endBlock();
        break;
      case MD_BLOCK_UL:
      case MD_BLOCK_OL:
        lists_.pop_back();
        if (lists_.empty()) endBlock();
        break;
      case MD_BLOCK_LI:
        if (!out_.ends_with('\n')) out_ += '\n';
        break;
      case MD_BLOCK_HR:
        endBlock();
        break;
      case MD_BLOCK_H:
        popStyle();
        endBlock();
        break;
      case MD_BLOCK_CODE:
        inCodeBlock_ = false;
        if (!out_.ends_with('\n')) out_ += '\n';
        endBlock();
        break;
      case MD_BLOCK_HTML:
        break;
      case MD_BLOCK_P:
        endBlock();
        break;
      case MD_BLOCK_TABLE:
        writeTable();
        endBlock();
        break;
      case MD_BLOCK_THEAD:
        inHeader_ = false;
        break;
      case MD_BLOCK_TBODY:
      case MD_BLOCK_TR:
        break;
      case MD_BLOCK_TH:
      case MD_BLOCK_TD:
        inCell_ = false;
        break;
    }
    return 0;
  }

  int enterSpan(MD_SPANTYPE type, void* detail) {
    switch (type) {
      case MD_SPAN_EM:
        pushStyle(kItalic);
        break;
      case MD_SPAN_STRONG:
        pushStyle(kBold);
        break;
      case MD_SPAN_A: {
        const auto* link = static_cast<MD_SPAN_A_DETAIL*>(detail);
        links_.emplace_back(link->href.text, link->href.size);
        linkTextStart_.push_back(target().size());
        pushStyle(kLink);
        break;
      }
      case MD_SPAN_IMG: {
        const auto* image = static_cast<MD_SPAN_IMG_DETAIL*>(detail);
        links_.emplace_back(image->src.text, image->src.size);
        linkTextStart_.push_back(target().size());
        target() += "[image: ";
        break;
      }
      case MD_SPAN_CODE:
        pushStyle(kCode);
        if (!color_) target() += '`';
        break;
      case MD_SPAN_DEL:
        pushStyle(kStrike);
        if (!color_) target() += "~~";
        break;
      default:
        break;
    }
    return 0;
  }

  int leaveSpan(MD_SPANTYPE type, void*) {
    switch (type) {
      case MD_SPAN_EM:
      case MD_SPAN_STRONG:
        popStyle();
        break;
      case MD_SPAN_A:
      case MD_SPAN_IMG: {
        if (type == MD_SPAN_A) popStyle();
        if (type == MD_SPAN_IMG) target() += "]";
        const std::string href = links_.back();
        const std::string shown = target().substr(linkTextStart_.back());
        links_.pop_back();
        linkTextStart_.pop_back();
        if (shown.find(href) == std::string::npos) {
          style(kDim);
          target() += " (" + href + ")";
          reset();
        }
        break;
      }
      case MD_SPAN_CODE:
        if (!color_) target() += '`';
        popStyle();
        break;
      case MD_SPAN_DEL:
        if (!color_) target() += "~~";
        popStyle();
        break;
      default:
        break;
    }
    return 0;
  }

  int text(MD_TEXTTYPE type, std::string_view text) {
    if (inCodeBlock_) {
      // Verbatim, line by line, indented and coloured.
      size_t start = 0;
      while (start < text.size()) {
        const size_t end = text.find('\n', start);
        const std::string_view line = text.substr(start, end == std::string_view::npos ? end : end - start);
        if (codeLineStart_) out_ += indent() + "    ";
        codeLineStart_ = false;
        style(kCode);
        out_ += line;
        reset();
        if (end == std::string_view::npos) break;
        out_ += '\n';
        codeLineStart_ = true;
        start = end + 1;
      }
      return 0;
    }
    switch (type) {
      case MD_TEXT_BR:
      case MD_TEXT_SOFTBR:
        if (inCell_) {
          target() += ' ';
        } else {
          out_ += '\n' + indent();
        }
        break;
      case MD_TEXT_NULLCHAR:
        target() += "\xEF\xBF\xBD";
        break;
      case MD_TEXT_ENTITY:
        target() += entity(text);
        break;
      default:
        target() += text;
        break;
    }
    return 0;
  }

  static std::string entity(std::string_view text) {
    static const std::pair<std::string_view, std::string_view> kEntities[] = {
        {"&amp;", "&"},   {"&lt;", "<"},   {"&gt;", ">"},
        {"&quot;", "\""}, {"&apos;", "'"}, {"&nbsp;", "\u00A0"}};
    for (const auto& [name, value] : kEntities) {
      if (text == name) return std::string(value);
    }
    return std::string(text);
  }

  void writeTable() {
    size_t columns = 0;
    for (const auto& row : table_) columns = std::max(columns, row.size());
    std::vector<size_t> widths(columns, 0);
    for (const auto& row : table_) {
      for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], displayWidth(visible(row[i])));
    }
    for (size_t r = 0; r < table_.size(); ++r) {
      startLine();
      for (size_t i = 0; i < columns; ++i) {
        const std::string cell = i < table_[r].size() ? table_[r][i] : "";
        if (i > 0) out_ += color_ ? std::string(kDim) + " │ " + std::string(kReset) : " | ";
        if (r < headerRows_) style(kBold);
        out_ += cell;
        if (r < headerRows_) reset();
        if (i + 1 < columns) out_ += std::string(widths[i] - displayWidth(visible(cell)), ' ');
      }
      out_ += '\n';
      if (r + 1 == headerRows_) {
        out_ += indent();
        style(kDim);
        for (size_t i = 0; i < columns; ++i) {
          if (i > 0) out_ += color_ ? "─┼─" : "-|-";
          for (size_t w = 0; w < widths[i]; ++w) out_ += color_ ? "─" : "-";
        }
        reset();
        out_ += '\n';
      }
    }
  }

  // `text` without its escape sequences, for measuring.
  static std::string visible(const std::string& text) {
    std::string result;
    for (size_t i = 0; i < text.size(); ++i) {
      if (text[i] == '\x1b') {
        while (i < text.size() && text[i] != 'm') ++i;
        continue;
      }
      result += text[i];
    }
    return result;
  }

  bool color_;
  std::string out_;
  std::vector<std::string_view> openStyles_;
  std::vector<ListState> lists_;
  bool looseList_ = false;
  std::string pendingBullet_;
  int quoteDepth_ = 0;
  bool inCodeBlock_ = false;
  bool codeLineStart_ = false;  // the next code text starts a line
  std::vector<std::string> links_;
  std::vector<size_t> linkTextStart_;
  std::vector<std::vector<std::string>> table_;
  size_t headerRows_ = 0;
  bool inHeader_ = false;
  bool inCell_ = false;
};

// True when `line` opens or closes a fenced code block.
bool isFence(std::string_view line) {
  const size_t start = line.find_first_not_of(' ');
  if (start == std::string_view::npos || start > 3) return false;
  return line.substr(start).starts_with("```") || line.substr(start).starts_with("~~~");
}

}  // namespace

std::string renderMarkdownForTerminal(std::string_view markdown, bool color) {
  return Renderer(color).render(markdown);
}

std::string StreamingMarkdownRenderer::append(std::string_view text) {
  pending_ += text;
  std::string rendered;
  size_t blockEnd = 0;  // end of the complete blocks found so far
  size_t lineStart = scanned_;
  for (size_t newline = pending_.find('\n', lineStart); newline != std::string::npos;
       newline = pending_.find('\n', lineStart)) {
    const std::string_view line = std::string_view(pending_).substr(lineStart, newline - lineStart);
    if (isFence(line)) inFence_ = !inFence_;
    const bool blank = line.find_first_not_of(" \t\r") == std::string_view::npos;
    lineStart = newline + 1;
    if (blank && !inFence_ && lineStart > 1) blockEnd = lineStart;
  }
  scanned_ = lineStart;
  if (blockEnd > 0) {
    const std::string block = pending_.substr(0, blockEnd);
    if (block.find_first_not_of(" \t\r\n") != std::string::npos) {
      rendered = renderMarkdownForTerminal(block, color_) + "\n\n";
    }
    pending_.erase(0, blockEnd);
    scanned_ -= blockEnd;
  }
  return rendered;
}

std::string StreamingMarkdownRenderer::finish() {
  std::string rest = std::move(pending_);
  pending_.clear();
  scanned_ = 0;
  inFence_ = false;
  if (rest.find_first_not_of(" \t\r\n") == std::string::npos) return {};
  return renderMarkdownForTerminal(rest, color_) + "\n";
}

}  // namespace zephyl::cli
