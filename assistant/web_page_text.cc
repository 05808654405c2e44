#include "assistant/web_page_text.h"

#include <unicode/ucnv.h>

#include <array>
#include <cctype>
#include <charconv>
#include <vector>

#include "assistant/web_url.h"
#include "core/utf8.h"

namespace zephyl::assistant {
namespace {

char lowerASCII(char character) {
  return static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
}

std::string lowered(std::string_view text) {
  std::string result(text);
  for (char& character : result) character = lowerASCII(character);
  return result;
}

bool isSpace(char character) {
  return character == ' ' || character == '\t' || character == '\n' || character == '\r' || character == '\f';
}

// The value of `charset=` in a Content-Type value or a meta tag's text.
std::string charsetParameter(std::string_view text) {
  const std::string lower = lowered(text);
  const size_t at = lower.find("charset");
  if (at == std::string::npos) return {};
  size_t position = at + 7;
  while (position < lower.size() && isSpace(lower[position])) ++position;
  if (position >= lower.size() || lower[position] != '=') return {};
  ++position;
  while (position < lower.size() &&
         (isSpace(lower[position]) || lower[position] == '"' || lower[position] == '\''))
    ++position;
  size_t end = position;
  while (end < lower.size() && !isSpace(lower[end]) && lower[end] != '"' && lower[end] != '\'' &&
         lower[end] != ';' && lower[end] != '>' && lower[end] != '/')
    ++end;
  return lower.substr(position, end - position);
}

// The charset a <meta> tag in the first 1024 bytes declares (as browsers look for it).
std::string metaCharset(std::string_view html) {
  const std::string head = lowered(html.substr(0, 1024));
  for (size_t at = head.find("<meta"); at != std::string::npos; at = head.find("<meta", at + 5)) {
    const size_t end = head.find('>', at);
    std::string charset = charsetParameter(std::string_view(head).substr(at, end - at));
    if (!charset.empty()) return charset;
  }
  return {};
}

bool isHTML(std::string_view contentType, std::string_view bytes) {
  const std::string type = lowered(contentType.substr(0, contentType.find(';')));
  if (type.find("html") != std::string::npos) return true;
  if (!type.empty()) return false;
  const std::string start = lowered(core::trimWhiteSpace(bytes.substr(0, 512)));
  return start.starts_with("<!doctype html") || start.starts_with("<html") ||
         start.find("<body") != std::string::npos;
}

// ---- HTML to text ----

struct NamedEntity {
  std::string_view name;
  std::string_view text;
};

constexpr std::array<NamedEntity, 22> kEntities{{
    {"amp", "&"},        {"lt", "<"},         {"gt", ">"},         {"quot", "\""},       {"apos", "'"},
    {"nbsp", " "},       {"ndash", "\u2013"}, {"mdash", "\u2014"}, {"hellip", "\u2026"}, {"lsquo", "\u2018"},
    {"rsquo", "\u2019"}, {"ldquo", "\u201C"}, {"rdquo", "\u201D"}, {"copy", "\u00A9"},   {"reg", "\u00AE"},
    {"trade", "\u2122"}, {"laquo", "\u00AB"}, {"raquo", "\u00BB"}, {"middot", "\u00B7"}, {"bull", "\u2022"},
    {"euro", "\u20AC"},  {"shy", ""},
}};

std::string decodeEntities(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t index = 0; index < text.size(); ++index) {
    if (text[index] != '&') {
      out += text[index];
      continue;
    }
    const size_t semicolon = text.find(';', index);
    if (semicolon == std::string_view::npos || semicolon - index > 12) {
      out += '&';
      continue;
    }
    const std::string_view name = text.substr(index + 1, semicolon - index - 1);
    std::optional<std::string> replacement;
    if (name.starts_with('#') && name.size() > 1) {
      const bool hex = name[1] == 'x' || name[1] == 'X';
      const std::string_view digits = name.substr(hex ? 2 : 1);
      uint32_t value = 0;
      const auto [end, error] =
          std::from_chars(digits.data(), digits.data() + digits.size(), value, hex ? 16 : 10);
      if (error == std::errc() && end == digits.data() + digits.size() && !digits.empty()) {
        const bool usable = value != 0 && value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
        replacement = core::encodeUtf8(std::u32string(1, usable ? static_cast<char32_t>(value) : U'\uFFFD'));
      }
    } else {
      const std::string lower = lowered(name);
      for (const auto& entity : kEntities) {
        if (entity.name == lower) replacement = std::string(entity.text);
      }
    }
    if (replacement) {
      out += *replacement;
      index = semicolon;
    } else {
      out += '&';
    }
  }
  return out;
}

// The value of attribute `name` in a start tag's text after its name.
std::optional<std::string> attribute(std::string_view tag, std::string_view name) {
  size_t position = 0;
  while (position < tag.size()) {
    while (position < tag.size() && (isSpace(tag[position]) || tag[position] == '/')) ++position;
    size_t end = position;
    while (end < tag.size() && !isSpace(tag[end]) && tag[end] != '=' && tag[end] != '/') ++end;
    const std::string attributeName = lowered(tag.substr(position, end - position));
    position = end;
    while (position < tag.size() && isSpace(tag[position])) ++position;
    std::string_view value;
    if (position < tag.size() && tag[position] == '=') {
      ++position;
      while (position < tag.size() && isSpace(tag[position])) ++position;
      if (position < tag.size() && (tag[position] == '"' || tag[position] == '\'')) {
        const char quote = tag[position];
        const size_t close = tag.find(quote, position + 1);
        value = tag.substr(position + 1,
                           close == std::string_view::npos ? std::string_view::npos : close - position - 1);
        position = close == std::string_view::npos ? tag.size() : close + 1;
      } else {
        end = position;
        while (end < tag.size() && !isSpace(tag[end])) ++end;
        value = tag.substr(position, end - position);
        position = end;
      }
    }
    if (attributeName.empty()) {
      if (position < tag.size()) ++position;
      continue;
    }
    if (attributeName == name) return decodeEntities(value);
  }
  return std::nullopt;
}

bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
  for (std::string_view candidate : names) {
    if (candidate == name) return true;
  }
  return false;
}

// Elements whose content is never text for a reader.
bool isHiddenElement(std::string_view name) {
  return isOneOf(name, {"script", "style", "noscript", "template", "svg", "iframe", "object"});
}

bool isBlockElement(std::string_view name) {
  return isOneOf(name, {"p",          "div",  "br",      "hr",      "h1",         "h2",      "h3",
                        "h4",         "h5",   "h6",      "ul",      "ol",         "li",      "dl",
                        "dt",         "dd",   "tr",      "table",   "section",    "article", "header",
                        "footer",     "nav",  "aside",   "main",    "blockquote", "pre",     "figure",
                        "figcaption", "form", "address", "details", "summary",    "body",    "html"});
}

class HTMLTextWriter {
 public:
  explicit HTMLTextWriter(std::string_view pageURL) : pageURL_(pageURL) {}

  void text(std::string_view raw) {
    const std::string decoded = decodeEntities(raw);
    for (char character : decoded) {
      if (preformatted_ > 0) {
        if (character == '\r') continue;
        out_ += character;
        continue;
      }
      if (isSpace(character)) {
        pendingSpace_ = true;
        continue;
      }
      if (pendingSpace_ && !out_.empty() && out_.back() != '\n' && out_.back() != ' ') out_ += ' ';
      pendingSpace_ = false;
      out_ += character;
    }
  }

  void startTag(const std::string& name, std::string_view attributes) {
    if (isBlockElement(name)) lineBreak(name == "br" ? 1 : 2);
    if (name == "li") out_ += "- ";
    if (name == "pre") ++preformatted_;
    if (name == "a") {
      std::optional<std::string> href = attribute(attributes, "href");
      links_.push_back(href && !href->empty() && !href->starts_with('#') &&
                               !lowered(*href).starts_with("javascript:")
                           ? resolveWebURL(pageURL_, *href)
                           : std::string());
      linkTextStart_.push_back(out_.size());
    }
    if (name == "img") {
      if (auto alt = attribute(attributes, "alt"); alt && !core::trimWhiteSpace(*alt).empty()) text(*alt);
    }
  }

  void endTag(const std::string& name) {
    if (name == "pre" && preformatted_ > 0) --preformatted_;
    if (name == "a" && !links_.empty()) {
      const std::string link = links_.back();
      const size_t start = linkTextStart_.back();
      links_.pop_back();
      linkTextStart_.pop_back();
      // A link whose text is its address needs it only once.
      if (!link.empty() && core::trimWhiteSpace(std::string_view(out_).substr(start)) != link) {
        out_ += " (" + link + ")";
      }
    }
    if (isBlockElement(name)) lineBreak(2);
  }

  std::string finish() {
    // Lines trimmed at their ends, at most one empty line between blocks.
    std::string result;
    int newlines = 0;
    size_t position = 0;
    while (position <= out_.size()) {
      const size_t end = std::min(out_.find('\n', position), out_.size());
      const std::string_view line =
          core::trimWhiteSpace(std::string_view(out_).substr(position, end - position));
      if (line.empty()) {
        ++newlines;
      } else {
        if (!result.empty()) result += newlines > 0 ? "\n\n" : "\n";
        result += line;
        newlines = 0;
      }
      position = end + 1;
    }
    return result;
  }

 private:
  void lineBreak(int count) {
    pendingSpace_ = false;
    if (count == 1) {
      out_ += '\n';
      return;
    }
    if (!out_.ends_with("\n\n")) out_ += out_.ends_with('\n') ? "\n" : "\n\n";
  }

  std::string_view pageURL_;
  std::string out_;
  bool pendingSpace_ = false;
  int preformatted_ = 0;
  std::vector<std::string> links_;
  std::vector<size_t> linkTextStart_;
};

// Where the tag that starts at `open` ('<') ends: after its '>', quotes respected.
size_t tagEnd(std::string_view html, size_t open) {
  char quote = 0;
  for (size_t index = open + 1; index < html.size(); ++index) {
    const char character = html[index];
    if (quote != 0) {
      if (character == quote) quote = 0;
    } else if (character == '"' || character == '\'') {
      // Quotes count only inside attributes, after a '='.
      if (index > 0 && (html[index - 1] == '=' || isSpace(html[index - 1]))) quote = character;
    } else if (character == '>') {
      return index + 1;
    }
  }
  return html.size();
}

size_t findCaseless(std::string_view text, std::string_view needle, size_t from) {
  for (size_t index = from; index + needle.size() <= text.size(); ++index) {
    size_t matched = 0;
    while (matched < needle.size() && lowerASCII(text[index + matched]) == needle[matched]) ++matched;
    if (matched == needle.size()) return index;
  }
  return std::string_view::npos;
}

}  // namespace

std::string utf8FromCharset(std::string_view bytes, std::string_view charset) {
  const std::string name(charset);
  if (name == "utf-8" || name == "utf8") return core::replaceInvalidUtf8(bytes);
  UErrorCode status = U_ZERO_ERROR;
  UConverter* converter = ucnv_open(name.c_str(), &status);
  if (U_FAILURE(status) || converter == nullptr) return core::replaceInvalidUtf8(bytes);
  UConverter* utf8 = ucnv_open("UTF-8", &status);
  std::string out(bytes.size() * 3 + 16, '\0');
  char* target = out.data();
  const char* source = bytes.data();
  ucnv_convertEx(utf8, converter, &target, out.data() + out.size(), &source, bytes.data() + bytes.size(),
                 nullptr, nullptr, nullptr, nullptr, true, true, &status);
  ucnv_close(utf8);
  ucnv_close(converter);
  if (U_FAILURE(status)) return core::replaceInvalidUtf8(bytes);
  out.resize(static_cast<size_t>(target - out.data()));
  return core::replaceInvalidUtf8(out);
}

WebPageText readableHTMLText(std::string_view html, std::string_view pageURL) {
  WebPageText page;
  HTMLTextWriter writer(pageURL);
  size_t position = 0;
  while (position < html.size()) {
    const size_t open = html.find('<', position);
    writer.text(
        html.substr(position, open == std::string_view::npos ? std::string_view::npos : open - position));
    if (open == std::string_view::npos) break;
    if (html.substr(open).starts_with("<!--")) {
      const size_t close = html.find("-->", open + 4);
      position = close == std::string_view::npos ? html.size() : close + 3;
      continue;
    }
    const size_t end = tagEnd(html, open);
    std::string_view tag =
        html.substr(open + 1, end - open - (end <= html.size() && html[end - 1] == '>' ? 2 : 1));
    position = end;
    const bool closing = tag.starts_with('/');
    if (closing) tag.remove_prefix(1);
    size_t nameEnd = 0;
    while (nameEnd < tag.size() && !isSpace(tag[nameEnd]) && tag[nameEnd] != '/') ++nameEnd;
    const std::string name = lowered(tag.substr(0, nameEnd));
    if (name.empty() || !std::isalpha(static_cast<unsigned char>(name[0]))) {
      // "<!doctype", "<?xml", or a lone '<' in text.
      if (!closing && !tag.starts_with('!') && !tag.starts_with('?')) {
        writer.text("<");
        position = open + 1;
      }
      continue;
    }
    if (closing) {
      writer.endTag(name);
      continue;
    }
    if (name == "title" || isHiddenElement(name)) {
      // Raw content up to the matching end tag; a title is kept aside, the rest dropped.
      const size_t close = findCaseless(html, "</" + name, position);
      const std::string_view content =
          html.substr(position, close == std::string_view::npos ? std::string_view::npos : close - position);
      if (name == "title" && page.title.empty()) {
        HTMLTextWriter titleWriter(pageURL);
        titleWriter.text(content);
        page.title = titleWriter.finish();
      }
      position = close == std::string_view::npos ? html.size() : tagEnd(html, close);
      continue;
    }
    writer.startTag(name, tag.substr(nameEnd));
  }
  page.text = writer.finish();
  return page;
}

WebPageText webPageText(std::string_view bytes, std::string_view contentType, std::string_view pageURL) {
  std::string charset;
  if (bytes.starts_with("\xEF\xBB\xBF")) {
    bytes.remove_prefix(3);
    charset = "utf-8";
  } else if (bytes.starts_with("\xFF\xFE")) {
    bytes.remove_prefix(2);
    charset = "utf-16le";
  } else if (bytes.starts_with("\xFE\xFF")) {
    bytes.remove_prefix(2);
    charset = "utf-16be";
  }
  if (charset.empty()) charset = charsetParameter(contentType);
  const bool html = isHTML(contentType, charset.starts_with("utf-16") ? std::string_view() : bytes);
  if (charset.empty() && html) charset = metaCharset(bytes);
  if (charset.empty()) charset = core::isValidUtf8(bytes) ? "utf-8" : "windows-1252";
  // Pages that say latin-1 mean windows-1252, as browsers read them.
  if (charset == "iso-8859-1" || charset == "latin1" || charset == "us-ascii") charset = "windows-1252";
  const std::string text = utf8FromCharset(bytes, charset);
  if (html || isHTML(contentType, text)) return readableHTMLText(text, pageURL);
  return {"", std::string(core::trimWhiteSpace(text))};
}

}  // namespace zephyl::assistant
