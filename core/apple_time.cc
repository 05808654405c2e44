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

}  // namespace zephyl::core
