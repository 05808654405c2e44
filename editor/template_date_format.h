// The date and time formats of template placeholders ({{date}}, {{time}}) and
// of the date and time slash commands. Each format is an ICU pattern in a locale
// chosen so that the format's name holds: `weekdayMonthDayYear` writes an
// English weekday, `koreanYearMonthDay` Korean units, and so on.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "core/apple_time.h"

namespace zephyl::editor {

enum class TemplateDateFormat {
  kMonthDayYear,                // "January 5, 2026"
  kDayFullMonthYear,            // "5 January 2026"
  kIsoDate,                     // "2026-01-05"
  kCompactDate,                 // "20260105"
  kMonthDaySlashYear,           // "01/05/2026"
  kDayMonthSlashYear,           // "05/01/2026"
  kWeekdayMonthDayYear,         // "Monday, January 5, 2026"
  kChineseYearMonthDay,         // "2026年1月5日"
  kYearMonthDaySlash,           // "2026/1/5"
  kChineseWeekdayYearMonthDay,  // "2026年1月5日 星期一"
  kGermanDayMonthYear,          // "05.01.2026"
  kKoreanYearMonthDay,          // "2026년 1월 5일"
  kKoreanWeekdayYearMonthDay,   // "2026년 1월 5일 월요일"
};

inline constexpr std::array<TemplateDateFormat, 13> kAllTemplateDateFormats = {
    TemplateDateFormat::kMonthDayYear,
    TemplateDateFormat::kDayFullMonthYear,
    TemplateDateFormat::kIsoDate,
    TemplateDateFormat::kCompactDate,
    TemplateDateFormat::kMonthDaySlashYear,
    TemplateDateFormat::kDayMonthSlashYear,
    TemplateDateFormat::kWeekdayMonthDayYear,
    TemplateDateFormat::kChineseYearMonthDay,
    TemplateDateFormat::kYearMonthDaySlash,
    TemplateDateFormat::kChineseWeekdayYearMonthDay,
    TemplateDateFormat::kGermanDayMonthYear,
    TemplateDateFormat::kKoreanYearMonthDay,
    TemplateDateFormat::kKoreanWeekdayYearMonthDay,
};

enum class TemplateTimeFormat {
  kTwentyFourHour,             // "HH:mm"
  kTwentyFourHourWithSeconds,  // "HH:mm:ss"
  kTwelveHour,                 // "h:mm a"
};

inline constexpr std::array<TemplateTimeFormat, 3> kAllTemplateTimeFormats = {
    TemplateTimeFormat::kTwentyFourHour, TemplateTimeFormat::kTwentyFourHourWithSeconds,
    TemplateTimeFormat::kTwelveHour};

// An ICU date pattern with the locale whose names and numerals it uses.
struct DatePattern {
  std::string pattern;
  std::string locale;
};

// The settings value of a format ("monthDayYear", "twelveHour", ...) and back;
// nullopt for an unknown value.
std::string_view templateDateFormatName(TemplateDateFormat format);
std::optional<TemplateDateFormat> templateDateFormatFromName(std::string_view name);
std::string_view templateTimeFormatName(TemplateTimeFormat format);
std::optional<TemplateTimeFormat> templateTimeFormatFromName(std::string_view name);

DatePattern datePattern(TemplateDateFormat format);
DatePattern timePattern(TemplateTimeFormat format);

// Formats instants in one time zone. Construction with an empty zone uses the
// system's zone; an unknown zone identifier falls back to UTC (ICU's rule).
class TemplateDateFormatter {
 public:
  explicit TemplateDateFormatter(std::string timeZoneID = {});

  std::string format(core::TimePoint time, TemplateDateFormat format) const;
  std::string format(core::TimePoint time, TemplateTimeFormat format) const;
  // A user's own ICU pattern, in `locale` (POSIX English when empty). A pattern
  // that ICU rejects yields nullopt.
  std::optional<std::string> format(core::TimePoint time, const DatePattern& pattern) const;

 private:
  std::string timeZoneID_;  // empty: the system's zone
};

}  // namespace zephyl::editor
