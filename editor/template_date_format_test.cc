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
      {TemplateDateFormat::kMonthDayYear, "January 5, 2026"},
      {TemplateDateFormat::kDayFullMonthYear, "5 January 2026"},
      {TemplateDateFormat::kIsoDate, "2026-01-05"},
      {TemplateDateFormat::kCompactDate, "20260105"},
      {TemplateDateFormat::kMonthDaySlashYear, "01/05/2026"},
      {TemplateDateFormat::kDayMonthSlashYear, "05/01/2026"},
      {TemplateDateFormat::kWeekdayMonthDayYear, "Monday, January 5, 2026"},
      {TemplateDateFormat::kChineseYearMonthDay, "2026年1月5日"},
      {TemplateDateFormat::kYearMonthDaySlash, "2026/1/5"},
      {TemplateDateFormat::kChineseWeekdayYearMonthDay, "2026年1月5日 星期一"},
      {TemplateDateFormat::kGermanDayMonthYear, "05.01.2026"},
      {TemplateDateFormat::kKoreanYearMonthDay, "2026년 1월 5일"},
      {TemplateDateFormat::kKoreanWeekdayYearMonthDay, "2026년 1월 5일 월요일"},
  };
  ASSERT_EQ(cases.size(), kAllTemplateDateFormats.size());
  for (const auto& c : cases) {
    SCOPED_TRACE(templateDateFormatName(c.format));
    EXPECT_EQ(utc.format(kInstant, c.format), c.expected);
    EXPECT_EQ(templateDateFormatFromName(templateDateFormatName(c.format)), c.format);
  }
  EXPECT_EQ(utc.format(kInstant, TemplateTimeFormat::kTwentyFourHour), "15:04");
  EXPECT_EQ(utc.format(kInstant, TemplateTimeFormat::kTwentyFourHourWithSeconds), "15:04:09");
  EXPECT_EQ(utc.format(kInstant, TemplateTimeFormat::kTwelveHour), "3:04 PM");
  EXPECT_EQ(templateTimeFormatFromName("twelveHour"), TemplateTimeFormat::kTwelveHour);
  EXPECT_EQ(templateDateFormatFromName("custom"), std::nullopt);
}

TEST(TemplateDateFormat, FormatsInTheGivenTimeZone) {
  const TemplateDateFormatter tokyo("Asia/Tokyo");  // UTC+9: already the next day
  EXPECT_EQ(tokyo.format(kInstant, TemplateDateFormat::kIsoDate), "2026-01-06");
  EXPECT_EQ(tokyo.format(kInstant, TemplateTimeFormat::kTwentyFourHour), "00:04");
}

TEST(TemplateFormatSettings, ReadsKnownValuesAndKeepsDefaultsForUnknownOnes) {
  platform::testing::InMemoryFileSystem files;
  core::JsonSettingsStore settings(files, "/config/settings.json");
  EXPECT_EQ(TemplateFormatSettings::read(settings).templateDateFormat, TemplateDateFormat::kMonthDayYear);
  settings.setString("templateDateFormat", "isoDate");
  settings.setString("templateTimeFormat", "twelveHour");
  settings.setString("slashCommandDateFormat", "no such format");
  settings.setString("slashCommandTimeFormat", "twentyFourHourWithSeconds");
  settings.setString("templateCustomDateFormat", "d.M.yy");
  const auto formats = TemplateFormatSettings::read(settings);
  EXPECT_EQ(formats.templateDateFormat, TemplateDateFormat::kIsoDate);
  EXPECT_EQ(formats.templateTimeFormat, TemplateTimeFormat::kTwelveHour);
  EXPECT_EQ(formats.slashCommandDateFormat, TemplateDateFormat::kMonthDayYear);
  EXPECT_EQ(formats.slashCommandTimeFormat, TemplateTimeFormat::kTwentyFourHourWithSeconds);
  EXPECT_EQ(formats.templateCustomDateFormat, "d.M.yy");
}

}  // namespace
}  // namespace zephyl::editor
