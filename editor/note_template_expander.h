// Expands the placeholders of a template body before it is pasted. A
// placeholder is a whole double-brace token whose name starts with a letter
// ("{{date}}", "{{time}}"); anything else in double braces ("{{1st}}") is text
// and stays as it is, as do placeholders whose name Zephyl does not know.
#pragma once

#include <string>
#include <string_view>

#include "core/apple_time.h"
#include "editor/template_date_format.h"
#include "editor/template_format_settings.h"

namespace zephyl::editor {

class NoteTemplateExpander {
 public:
  // `formatter` must outlive the expander.
  NoteTemplateExpander(const TemplateFormatSettings& formats, const TemplateDateFormatter& formatter)
      : formats_(formats), formatter_(formatter) {}

  // `html` with {{date}} and {{time}} (names matched without regard to case)
  // replaced by `now` in the template formats, HTML-escaped.
  std::string expand(std::string_view html, core::TimePoint now) const;

  // Today's date in the template date format (the custom pattern when one is
  // set and ICU accepts it).
  std::string templateDate(core::TimePoint now) const;

  // Whether `token` is a placeholder: "^\{\{[A-Za-z][A-Za-z0-9_ -]*\}\}$".
  static bool isPlaceholder(std::string_view token);

 private:
  TemplateFormatSettings formats_;
  const TemplateDateFormatter& formatter_;
};

}  // namespace zephyl::editor
