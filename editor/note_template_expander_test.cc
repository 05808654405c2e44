#include "editor/note_template_expander.h"

#include <gtest/gtest.h>

#include "editor/built_in_note_template.h"

namespace zephyl::editor {
namespace {

const core::TimePoint kInstant = core::TimePoint{std::chrono::seconds(1767625449)};  // 2026-01-05 15:04:09Z

TEST(NoteTemplateExpander, ReplacesOnlyWholePlaceholderTokens) {
  const TemplateDateFormatter utc("UTC");
  TemplateFormatSettings formats;
  formats.templateDateFormat = TemplateDateFormat::kIsoDate;
  formats.templateTimeFormat = TemplateTimeFormat::kTwentyFourHour;
  const NoteTemplateExpander expander(formats, utc);
  struct Case {
    std::string html;
    std::string expected;
  };
  const std::vector<Case> cases = {
      {"<div>{{date}} at {{time}}</div>", "<div>2026-01-05 at 15:04</div>"},
      {"{{Date}}{{TIME}}", "2026-01-0515:04"},
      {"{{1st}} {{2date}}", "{{1st}} {{2date}}"},            // a name must start with a letter
      {"{{ date}} {{date!}}", "{{ date}} {{date!}}"},        // not the placeholder pattern
      {"{{title}} {{due date}}", "{{title}} {{due date}}"},  // placeholders Zephyl does not fill
      {"{{{date}}}", "{2026-01-05}"},
      {"{{date} {{date", "{{date} {{date"},
      {"", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.html);
    EXPECT_EQ(expander.expand(c.html, kInstant), c.expected);
  }
  EXPECT_TRUE(NoteTemplateExpander::isPlaceholder("{{due_date-2 x}}"));
  EXPECT_FALSE(NoteTemplateExpander::isPlaceholder("{{9}}"));
  EXPECT_FALSE(NoteTemplateExpander::isPlaceholder("x{{date}}"));
}

TEST(NoteTemplateExpander, CustomDatePatternWinsAndIsEscaped) {
  const TemplateDateFormatter utc("UTC");
  TemplateFormatSettings formats;
  formats.templateDateFormat = TemplateDateFormat::kIsoDate;
  formats.templateCustomDateFormat = "'<'d/M'>'";
  formats.templateTimeFormat = TemplateTimeFormat::kTwelveHour;
  const NoteTemplateExpander expander(formats, utc);
  EXPECT_EQ(expander.expand("{{date}} {{time}}", kInstant), "&lt;5/1&gt; 3:04 PM");
}

TEST(NoteTemplateExpander, BuiltInTemplatesExpandTheirDateAndTime) {
  const auto& builtIns = builtInNoteTemplates();
  ASSERT_EQ(builtIns.size(), 2u);
  EXPECT_TRUE(builtIns[0].htmlBody.starts_with("<h1>Meeting Notes</h1>"));
  EXPECT_TRUE(builtIns[1].htmlBody.starts_with("<h1>Daily Note</h1>"));
  EXPECT_NE(builtIns[1].htmlBody.find("<ul><li></li><li></li><li></li></ul>"), std::string::npos);

  const TemplateDateFormatter utc("UTC");
  const NoteTemplateExpander expander(TemplateFormatSettings{}, utc);
  const std::string meeting = expander.expand(builtIns[0].htmlBody, kInstant);
  EXPECT_NE(meeting.find("<div><b>Date:</b> January 5, 2026</div>"), std::string::npos);
  EXPECT_NE(meeting.find("<div><b>Time:</b> 15:04</div>"), std::string::npos);
  EXPECT_EQ(meeting.find("{{"), std::string::npos);
}

}  // namespace
}  // namespace zephyl::editor
