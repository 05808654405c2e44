// Markdown answers made readable in a terminal: headings, emphasis, lists,
// block quotes, code, links and tables, parsed by md4c (GitHub dialect) and
// written with ANSI styles, or as plain text when colour is off.
#pragma once

#include <string>
#include <string_view>

namespace zephyl::cli {

// The rendering of a complete Markdown text. Tables are laid out in aligned
// columns; link targets follow their text in parentheses.
std::string renderMarkdownForTerminal(std::string_view markdown, bool color);

// Feeds a streamed answer to the renderer block by block, so that the answer
// appears as it comes while every block is parsed whole.
class StreamingMarkdownRenderer {
 public:
  explicit StreamingMarkdownRenderer(bool color) : color_(color) {}

  // Appends `text`; returns the rendering of every block that is now complete
  // (ended by a blank line outside a code fence).
  std::string append(std::string_view text);
  // The rendering of what is left at the end of the answer.
  std::string finish();

 private:
  bool color_;
  std::string pending_;
  size_t scanned_ = 0;    // bytes of pending_ already searched for a block end
  bool inFence_ = false;  // scanned_ is inside a fenced code block
};

}  // namespace zephyl::cli
