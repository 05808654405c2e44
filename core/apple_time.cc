#include "core/apple_time.h"

#include <cmath>
#include <cstdio>

namespace zephyl::core {

namespace {
// Unix seconds of 0001-01-01T00:00:00Z and 10000-01-01T00:00:00Z.
constexpr double kFirstUnixSecond = -62135596800.0;
constexpr double kEndUnixSecond = 253402300800.0;
}  // namespace

std::optional<TimePoint> timeFromAppleSeconds(double seconds) {
  const double unixSeconds = seconds + kAppleReferenceDateOffset;
  // Also false for NaN.
  if (!(unixSeconds >= kFirstUnixSecond && unixSeconds < kEndUnixSecond)) return std::nullopt;
  // Rounding in microseconds keeps values such as 0.1 from turning into 0.099999.
  return TimePoint(std::chrono::microseconds(std::llround(unixSeconds * 1e6)));
}

double appleSecondsFromTime(TimePoint time) {
  return static_cast<double>(time.time_since_epoch().count()) / 1e6 - kAppleReferenceDateOffset;
}

std::string formatIso8601(TimePoint time) {
  const auto days = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day ymd{days};
  const std::chrono::hh_mm_ss hms{std::chrono::floor<std::chrono::microseconds>(time - days)};
  char buffer[64];
  size_t length = 0;
  const int year = static_cast<int>(ymd.year());
  // Written by hand for the years of four digits: an export formats two
  // times a note, and snprintf costs more than the rest of the check.
  const auto digits = [&](long long value, int count) {
    for (int i = count - 1; i >= 0; --i, value /= 10)
      buffer[length + i] = static_cast<char>('0' + value % 10);
    length += count;
  };
  const auto put = [&](char c) { buffer[length++] = c; };
  if (year >= 0 && year <= 9999) {
    digits(year, 4);
  } else {
    length = static_cast<size_t>(std::snprintf(buffer, sizeof buffer, "%04d", year));
  }
  put('-');
  digits(static_cast<unsigned>(ymd.month()), 2);
  put('-');
  digits(static_cast<unsigned>(ymd.day()), 2);
  put('T');
  digits(hms.hours().count(), 2);
  put(':');
  digits(hms.minutes().count(), 2);
  put(':');
  digits(hms.seconds().count(), 2);
  long long fraction = hms.subseconds().count();
  if (fraction != 0) {
    int count = 6;
    while (fraction % 10 == 0) {
      fraction /= 10;
      --count;
    }
    put('.');
    digits(fraction, count);
  }
  put('Z');
  return std::string(buffer, length);
}

std::optional<std::string> formatIso8601(const std::optional<TimePoint>& time) {
  if (!time) return std::nullopt;
  return formatIso8601(*time);
}

namespace {

// The value of `count` digits at `text[at]`, or -1 when one is not a digit.
int digitsAt(std::string_view text, size_t at, size_t count) {
  if (at + count > text.size()) return -1;
  int value = 0;
  for (size_t i = at; i < at + count; ++i) {
    if (text[i] < '0' || text[i] > '9') return -1;
    value = value * 10 + (text[i] - '0');
  }
  return value;
}

}  // namespace

std::optional<TimePoint> parseIso8601(std::string_view text) {
  const int year = digitsAt(text, 0, 4), month = digitsAt(text, 5, 2), day = digitsAt(text, 8, 2);
  const int hour = digitsAt(text, 11, 2), minute = digitsAt(text, 14, 2), second = digitsAt(text, 17, 2);
  if (year < 0 || month < 0 || day < 0 || hour < 0 || minute < 0 || second < 0) return std::nullopt;
  if (text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' || text[16] != ':')
    return std::nullopt;
  if (hour > 23 || minute > 59 || second > 60) return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year(year),
                                         std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  if (!date.ok()) return std::nullopt;
  size_t at = 19;
  long long micros = 0;
  if (at < text.size() && text[at] == '.') {
    ++at;
    int digits = 0;
    while (at < text.size() && text[at] >= '0' && text[at] <= '9') {
      if (digits < 6) micros = micros * 10 + (text[at] - '0');
      ++digits;
      ++at;
    }
    if (digits == 0) return std::nullopt;
    for (int i = digits; i < 6; ++i) micros *= 10;
  }
  std::chrono::minutes offset{0};
  if (at < text.size() && text[at] == 'Z') {
    ++at;
  } else if (at < text.size() && (text[at] == '+' || text[at] == '-')) {
    const int offsetHours = digitsAt(text, at + 1, 2), offsetMinutes = digitsAt(text, at + 4, 2);
    if (offsetHours < 0 || offsetMinutes < 0 || text[at + 3] != ':') return std::nullopt;
    offset = std::chrono::minutes(offsetHours * 60 + offsetMinutes);
    if (text[at] == '-') offset = -offset;
    at += 6;
  } else {
    return std::nullopt;
  }
  if (at != text.size()) return std::nullopt;
  return TimePoint(std::chrono::sys_days(date)) + std::chrono::hours(hour) + std::chrono::minutes(minute) +
         std::chrono::seconds(second) + std::chrono::microseconds(micros) - offset;
}

}  // namespace zephyl::core
