#include "editor/template_date_format.h"

#include <gtest/gtest.h>

#include "core/json_settings_store.h"
#include "editor/template_format_settings.h"
#include "platform/testing/in_memory_file_system.h"

namespace zephyl::editor {
namespace {

// Monday 5 January 2026, 15:04:09 UTC.
const core::TimePoint kInstant = core::TimePoint{std::chrono::seconds(1767625449)};

TEST(TemplateDateFormat, EveryFormatWritesWhatItsNameSays) {
  const TemplateDateFormatter utc("UTC");
  struct Case {
    TemplateDateFormat format;
    std::string expected;
  };
  const std::vector<Case> cases = {
      {TemplateDateFormat::monthDayYear, "January 5, 2026"},
      {TemplateDateFormat::dayFullMonthYear, "5 January 2026"},
      {TemplateDateFormat::isoDate, "2026-01-05"},
      {TemplateDateFormat::compactDate, "20260105"},
      {TemplateDateFormat::monthDaySlashYear, "01/05/2026"},
      {TemplateDateFormat::dayMonthSlashYear, "05/01/2026"},
      {TemplateDateFormat::weekdayMonthDayYear, "Monday, January 5, 2026"},
      {TemplateDateFormat::chineseYearMonthDay, "2026年1月5日"},
      {TemplateDateFormat::yearMonthDaySlash, "2026/1/5"},
      {TemplateDateFormat::chineseWeekdayYearMonthDay, "2026年1月5日 星期一"},
      {TemplateDateFormat::germanDayMonthYear, "05.01.2026"},
      {TemplateDateFormat::koreanYearMonthDay, "2026년 1월 5일"},
      {TemplateDateFormat::koreanWeekdayYearMonthDay, "2026년 1월 5일 월요일"},
  };
  ASSERT_EQ(cases.size(), kAllTemplateDateFormats.size());
  for (const auto& c : cases) {
    SCOPED_TRACE(templateDateFormatName(c.format));
    EXPECT_EQ(utc.format(kInstant, c.format), c.expected);
    EXPECT_EQ(templateDateFormatFromName(templateDateFormatName(c.format)), c.format);
  }
  EXPECT_EQ(utc.format(kInstant, TemplateTimeFormat::twentyFourHour), "15:04");
  EXPECT_EQ(utc.format(kInstant, TemplateTimeFormat::twentyFourHourWithSeconds), "15:04:09");
  EXPECT_EQ(utc.format(kInstant, TemplateTimeFormat::twelveHour), "3:04 PM");
  EXPECT_EQ(templateTimeFormatFromName("twelveHour"), TemplateTimeFormat::twelveHour);
  EXPECT_EQ(templateDateFormatFromName("custom"), std::nullopt);
}

TEST(TemplateDateFormat, FormatsInTheGivenTimeZone) {
  const TemplateDateFormatter tokyo("Asia/Tokyo");  // UTC+9: already the next day
  EXPECT_EQ(tokyo.format(kInstant, TemplateDateFormat::isoDate), "2026-01-06");
  EXPECT_EQ(tokyo.format(kInstant, TemplateTimeFormat::twentyFourHour), "00:04");
}

TEST(TemplateFormatSettings, ReadsKnownValuesAndKeepsDefaultsForUnknownOnes) {
  platform::testing::InMemoryFileSystem files;
  core::JsonSettingsStore settings(files, "/config/settings.json");
  EXPECT_EQ(TemplateFormatSettings::read(settings).templateDateFormat, TemplateDateFormat::monthDayYear);
  settings.setString("templateDateFormat", "isoDate");
  settings.setString("templateTimeFormat", "twelveHour");
  settings.setString("slashCommandDateFormat", "no such format");
  settings.setString("slashCommandTimeFormat", "twentyFourHourWithSeconds");
  settings.setString("templateCustomDateFormat", "d.M.yy");
  const auto formats = TemplateFormatSettings::read(settings);
  EXPECT_EQ(formats.templateDateFormat, TemplateDateFormat::isoDate);
  EXPECT_EQ(formats.templateTimeFormat, TemplateTimeFormat::twelveHour);
  EXPECT_EQ(formats.slashCommandDateFormat, TemplateDateFormat::monthDayYear);
  EXPECT_EQ(formats.slashCommandTimeFormat, TemplateTimeFormat::twentyFourHourWithSeconds);
  EXPECT_EQ(formats.templateCustomDateFormat, "d.M.yy");
}

}  // namespace
}  // namespace zephyl::editor
