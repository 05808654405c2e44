#include "editor/note_template_expander.h"

#include <regex>

namespace zephyl::editor {
namespace {

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    if (lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

std::string escapeHtml(std::string_view text) {
  std::string escaped;
  for (char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

}  // namespace

bool NoteTemplateExpander::isPlaceholder(std::string_view token) {
  static const std::regex kPattern(R"(^\{\{[A-Za-z][A-Za-z0-9_ -]*\}\}$)");
  return std::regex_match(token.begin(), token.end(), kPattern);
}

std::string NoteTemplateExpander::templateDate(core::TimePoint now) const {
  if (!formats_.templateCustomDateFormat.empty()) {
    if (auto custom = formatter_.format(now, DatePattern{formats_.templateCustomDateFormat, {}}))
      return *custom;
  }
  return formatter_.format(now, formats_.templateDateFormat);
}

std::string NoteTemplateExpander::expand(std::string_view html, core::TimePoint now) const {
  std::string result;
  result.reserve(html.size());
  size_t position = 0;
  while (position < html.size()) {
    const size_t open = html.find("{{", position);
    if (open == std::string_view::npos) break;
    const size_t close = html.find("}}", open + 2);
    if (close == std::string_view::npos) break;
    const std::string_view token = html.substr(open, close + 2 - open);
    std::optional<std::string> replacement;
    if (isPlaceholder(token)) {
      const std::string_view name = token.substr(2, token.size() - 4);
      if (equalsIgnoringCase(name, "date")) replacement = escapeHtml(templateDate(now));
      if (equalsIgnoringCase(name, "time")) {
        replacement = escapeHtml(formatter_.format(now, formats_.templateTimeFormat));
      }
    }
    if (replacement) {
      result.append(html.substr(position, open - position)).append(*replacement);
      position = close + 2;
    } else {
      // Not a placeholder from this brace: "{{{date}}" may still hold one one brace on.
      result.append(html.substr(position, open + 1 - position));
      position = open + 1;
    }
  }
  result.append(html.substr(position));
  return result;
}

}  // namespace zephyl::editor
