// WebPageText: a fetched page as a model reads it. The bytes are decoded from
// the charset that a byte order mark, the Content-Type header or an HTML meta
// tag names (in that order; undeclared text that is not UTF-8 is read as
// windows-1252), and HTML is turned into plain text: scripts, styles and
// comments dropped, entities decoded, blocks on lines of their own and links
// kept as "text (URL)".
#pragma once

#include <string>
#include <string_view>

namespace zephyl::assistant {

struct WebPageText {
  std::string title;  // the HTML title, empty for other text
  std::string text;

  bool operator==(const WebPageText&) const = default;
};

// `contentType` is the Content-Type header's value (empty when none came);
// `pageURL` is where the page was fetched, against which relative links are
// resolved.
WebPageText webPageText(std::string_view bytes, std::string_view contentType, std::string_view pageURL);

// The text of `html` (already UTF-8), with its title.
WebPageText readableHTMLText(std::string_view html, std::string_view pageURL);

// `bytes` as UTF-8 from `charset` (an IANA or ICU name); invalid sequences and
// an unknown charset come out as U+FFFD.
std::string utf8FromCharset(std::string_view bytes, std::string_view charset);

}  // namespace zephyl::assistant
