#include "core/apple_time.h"

#include <cmath>
#include <cstdio>

namespace zephyl::core {

TimePoint timeFromAppleSeconds(double seconds) {
  // Rounding in microseconds keeps values such as 0.1 from turning into 0.099999.
  const double micros = std::llround((seconds + kAppleReferenceDateOffset) * 1e6);
  return TimePoint(std::chrono::microseconds(static_cast<long long>(micros)));
}

double appleSecondsFromTime(TimePoint time) {
  return static_cast<double>(time.time_since_epoch().count()) / 1e6 - kAppleReferenceDateOffset;
}

std::string formatIso8601(TimePoint time) {
  const auto days = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day ymd{days};
  const std::chrono::hh_mm_ss hms{std::chrono::floor<std::chrono::microseconds>(time - days)};
  char buffer[64];
  int length =
      std::snprintf(buffer, sizeof buffer, "%04d-%02u-%02uT%02d:%02d:%02lld", static_cast<int>(ymd.year()),
                    static_cast<unsigned>(ymd.month()), static_cast<unsigned>(ymd.day()),
                    static_cast<int>(hms.hours().count()), static_cast<int>(hms.minutes().count()),
                    static_cast<long long>(hms.seconds().count()));
  long long fraction = hms.subseconds().count();
  if (fraction != 0) {
    int digits = 6;
    while (fraction % 10 == 0) {
      fraction /= 10;
      --digits;
    }
    length += std::snprintf(buffer + length, sizeof buffer - length, ".%0*lld", digits, fraction);
  }
  std::string result(buffer, length);
  result += 'Z';
  return result;
}

std::optional<std::string> formatIso8601(const std::optional<TimePoint>& time) {
  if (!time) return std::nullopt;
  return formatIso8601(*time);
}

std::optional<TimePoint> parseIso8601(std::string_view text) {
  size_t position = 0;
  auto number = [&](size_t digits) -> std::optional<int> {
    if (position + digits > text.size()) return std::nullopt;
    int value = 0;
    for (size_t i = 0; i < digits; ++i) {
      const char c = text[position + i];
      if (c < '0' || c > '9') return std::nullopt;
      value = value * 10 + (c - '0');
    }
    position += digits;
    return value;
  };
  auto literal = [&](char expected) {
    if (position >= text.size() || text[position] != expected) return false;
    ++position;
    return true;
  };
  const auto year = number(4);
  if (!year || !literal('-')) return std::nullopt;
  const auto month = number(2);
  if (!month || !literal('-')) return std::nullopt;
  const auto day = number(2);
  if (!day || !literal('T')) return std::nullopt;
  const auto hours = number(2);
  if (!hours || !literal(':')) return std::nullopt;
  const auto minutes = number(2);
  if (!minutes || !literal(':')) return std::nullopt;
  const auto seconds = number(2);
  if (!seconds || *hours > 23 || *minutes > 59 || *seconds > 60) return std::nullopt;
  long long micros = 0;
  if (literal('.')) {
    int digits = 0;
    while (position < text.size() && text[position] >= '0' && text[position] <= '9') {
      if (digits < 6) micros = micros * 10 + (text[position] - '0');
      ++digits;
      ++position;
    }
    if (digits == 0) return std::nullopt;
    for (; digits < 6; ++digits) micros *= 10;
  }
  int offsetMinutes = 0;
  if (!literal('Z')) {
    if (position >= text.size() || (text[position] != '+' && text[position] != '-')) return std::nullopt;
    const int sign = text[position++] == '-' ? -1 : 1;
    const auto offsetHours = number(2);
    if (!offsetHours || !literal(':')) return std::nullopt;
    const auto offsetRest = number(2);
    if (!offsetRest) return std::nullopt;
    offsetMinutes = sign * (*offsetHours * 60 + *offsetRest);
  }
  if (position != text.size()) return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year(*year), std::chrono::month(*month),
                                         std::chrono::day(*day)};
  if (!date.ok()) return std::nullopt;
  return TimePoint(std::chrono::sys_days(date)) + std::chrono::hours(*hours) +
         std::chrono::minutes(*minutes - offsetMinutes) + std::chrono::seconds(*seconds) +
         std::chrono::microseconds(micros);
}

}  // namespace zephyl::core
