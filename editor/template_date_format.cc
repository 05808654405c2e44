#include "editor/template_date_format.h"

#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <memory>

namespace zephyl::editor {
namespace {

using Date = TemplateDateFormat;
using Time = TemplateTimeFormat;

constexpr std::string_view kEnglish = "en_US";

}  // namespace

std::string_view templateDateFormatName(TemplateDateFormat format) {
  switch (format) {
    case Date::kMonthDayYear:
      return "monthDayYear";
    case Date::kDayFullMonthYear:
      return "dayFullMonthYear";
    case Date::kIsoDate:
      return "isoDate";
    case Date::kCompactDate:
      return "compactDate";
    case Date::kMonthDaySlashYear:
      return "monthDaySlashYear";
    case Date::kDayMonthSlashYear:
      return "dayMonthSlashYear";
    case Date::kWeekdayMonthDayYear:
      return "weekdayMonthDayYear";
    case Date::kChineseYearMonthDay:
      return "chineseYearMonthDay";
    case Date::kYearMonthDaySlash:
      return "yearMonthDaySlash";
    case Date::kChineseWeekdayYearMonthDay:
      return "chineseWeekdayYearMonthDay";
    case Date::kGermanDayMonthYear:
      return "germanDayMonthYear";
    case Date::kKoreanYearMonthDay:
      return "koreanYearMonthDay";
    case Date::kKoreanWeekdayYearMonthDay:
      return "koreanWeekdayYearMonthDay";
  }
  return "";
}

std::optional<TemplateDateFormat> templateDateFormatFromName(std::string_view name) {
  for (auto format : kAllTemplateDateFormats) {
    if (templateDateFormatName(format) == name) return format;
  }
  return std::nullopt;
}

std::string_view templateTimeFormatName(TemplateTimeFormat format) {
  switch (format) {
    case Time::kTwentyFourHour:
      return "twentyFourHour";
    case Time::kTwentyFourHourWithSeconds:
      return "twentyFourHourWithSeconds";
    case Time::kTwelveHour:
      return "twelveHour";
  }
  return "";
}

std::optional<TemplateTimeFormat> templateTimeFormatFromName(std::string_view name) {
  for (auto format : kAllTemplateTimeFormats) {
    if (templateTimeFormatName(format) == name) return format;
  }
  return std::nullopt;
}

DatePattern datePattern(TemplateDateFormat format) {
  const std::string english(kEnglish);
  switch (format) {
    case Date::kMonthDayYear:
      return {"MMMM d, yyyy", english};
    case Date::kDayFullMonthYear:
      return {"d MMMM yyyy", english};
    case Date::kIsoDate:
      return {"yyyy-MM-dd", english};
    case Date::kCompactDate:
      return {"yyyyMMdd", english};
    case Date::kMonthDaySlashYear:
      return {"MM/dd/yyyy", english};
    case Date::kDayMonthSlashYear:
      return {"dd/MM/yyyy", english};
    case Date::kWeekdayMonthDayYear:
      return {"EEEE, MMMM d, yyyy", english};
    case Date::kChineseYearMonthDay:
      return {"yyyy年M月d日", "zh_CN"};
    case Date::kYearMonthDaySlash:
      return {"yyyy/M/d", english};
    // "星期" followed by the narrow weekday ("一"): ICU's abbreviated Chinese
    // weekday already carries its own "周" and would read "星期周一".
    case Date::kChineseWeekdayYearMonthDay:
      return {"yyyy年M月d日 星期EEEEE", "zh_CN"};
    case Date::kGermanDayMonthYear:
      return {"dd.MM.yyyy", "de_DE"};
    case Date::kKoreanYearMonthDay:
      return {"yyyy년 M월 d일", "ko_KR"};
    case Date::kKoreanWeekdayYearMonthDay:
      return {"yyyy년 M월 d일 EEEE", "ko_KR"};
  }
  return {"yyyy-MM-dd", english};
}

DatePattern timePattern(TemplateTimeFormat format) {
  const std::string english(kEnglish);
  switch (format) {
    case Time::kTwentyFourHour:
      return {"HH:mm", english};
    case Time::kTwentyFourHourWithSeconds:
      return {"HH:mm:ss", english};
    case Time::kTwelveHour:
      return {"h:mm a", english};
  }
  return {"HH:mm", english};
}

TemplateDateFormatter::TemplateDateFormatter(std::string timeZoneID) : timeZoneID_(std::move(timeZoneID)) {}

std::string TemplateDateFormatter::format(core::TimePoint time, TemplateDateFormat dateFormat) const {
  return format(time, datePattern(dateFormat)).value_or("");
}

std::string TemplateDateFormatter::format(core::TimePoint time, TemplateTimeFormat timeFormat) const {
  return format(time, timePattern(timeFormat)).value_or("");
}

std::optional<std::string> TemplateDateFormatter::format(core::TimePoint time,
                                                         const DatePattern& pattern) const {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Locale locale(pattern.locale.empty() ? "en_US_POSIX" : pattern.locale.c_str());
  icu::SimpleDateFormat formatter(icu::UnicodeString::fromUTF8(pattern.pattern), locale, status);
  if (U_FAILURE(status)) return std::nullopt;
  std::unique_ptr<icu::TimeZone> zone(
      timeZoneID_.empty() ? icu::TimeZone::createDefault()
                          : icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(timeZoneID_)));
  formatter.adoptTimeZone(zone.release());
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch());
  icu::UnicodeString text;
  formatter.format(static_cast<UDate>(milliseconds.count()), text);
  std::string result;
  text.toUTF8String(result);
  return result;
}

}  // namespace zephyl::editor
