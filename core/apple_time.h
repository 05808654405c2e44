// Times as Apple Notes stores them: seconds (a double) since 2001-01-01 UTC.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace zephyl::core {

using TimePoint = std::chrono::sys_time<std::chrono::microseconds>;

// Seconds between the Unix epoch and Apple's reference date, 2001-01-01 UTC.
inline constexpr double kAppleReferenceDateOffset = 978307200.0;

// A point in time from seconds since the reference date, rounded to the
// microsecond; nullopt for NaN, infinities and times outside the years 1 to
// 9999, which no note has and ISO 8601 cannot write in four digits.
std::optional<TimePoint> timeFromAppleSeconds(double seconds);

// Seconds since the reference date; the inverse of timeFromAppleSeconds.
double appleSecondsFromTime(TimePoint time);

// ISO 8601 in UTC with a Z: "2026-11-14T09:30:00Z", with fractional seconds
// (trailing zeros dropped) only when the time has them.
std::string formatIso8601(TimePoint time);

// formatIso8601, or "null"-free absence: nullopt stays nullopt.
std::optional<std::string> formatIso8601(const std::optional<TimePoint>& time);

// Reads "YYYY-MM-DDTHH:MM:SS" with optional fractional seconds (to the
// microsecond; further digits are dropped) and a "Z" or "+HH:MM"/"-HH:MM"
// offset. nullopt for anything else, including impossible dates.
std::optional<TimePoint> parseIso8601(std::string_view text);

}  // namespace zephyl::core
