#include "ai/ai_transport_retry_budget.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <chrono>
#include <cmath>

#include "core/json_value.h"

namespace zephyl::ai {
namespace {

constexpr std::array<std::string_view, 7> kShortDays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<std::string_view, 7> kLongDays = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                       "Thursday", "Friday", "Saturday"};
constexpr std::array<std::string_view, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// A cursor over the value; each take... consumes on success only.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  bool literal(std::string_view expected) {
    if (!text_.substr(position_).starts_with(expected)) return false;
    position_ += expected.size();
    return true;
  }
  bool spaces() {  // one or more
    const size_t start = position_;
    while (position_ < text_.size() && text_[position_] == ' ') ++position_;
    return position_ > start;
  }
  // Exactly `minimum` to `maximum` digits.
  std::optional<int> number(size_t minimum, size_t maximum) {
    size_t end = position_;
    while (end < text_.size() && end - position_ < maximum &&
           std::isdigit(static_cast<unsigned char>(text_[end]))) {
      ++end;
    }
    if (end - position_ < minimum) return std::nullopt;
    int value = 0;
    std::from_chars(text_.data() + position_, text_.data() + end, value);
    position_ = end;
    return value;
  }
  template <size_t N>
  std::optional<int> oneOf(const std::array<std::string_view, N>& names) {
    // Longest first, so "Sunday" is not taken as "Sun" + "day".
    std::optional<int> best;
    size_t bestLength = 0;
    for (size_t i = 0; i < N; ++i) {
      if (names[i].size() > bestLength && text_.substr(position_).starts_with(names[i])) {
        best = static_cast<int>(i);
        bestLength = names[i].size();
      }
    }
    if (best) position_ += bestLength;
    return best;
  }
  std::string_view rest() const { return text_.substr(position_); }
  bool atEnd() const { return position_ == text_.size(); }

 private:
  std::string_view text_;
  size_t position_ = 0;
};

struct DateFields {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  int offsetSeconds = 0;  // of the zone east of UTC
};

// "GMT", "UTC", "UT", "Z", optionally followed by or replaced with ±hhmm / ±hh:mm.
std::optional<int> parseZone(std::string_view zone) {
  for (std::string_view name : {"GMT", "UTC", "UT", "Z"}) {
    if (zone.starts_with(name)) {
      zone.remove_prefix(name.size());
      break;
    }
  }
  if (zone.empty()) return 0;
  if (zone[0] != '+' && zone[0] != '-') return std::nullopt;
  const int sign = zone[0] == '-' ? -1 : 1;
  std::string digits;
  for (char c : zone.substr(1)) {
    if (c == ':') continue;
    if (!std::isdigit(static_cast<unsigned char>(c))) return std::nullopt;
    digits += c;
  }
  if (digits.size() != 2 && digits.size() != 4) return std::nullopt;
  const int hours = std::stoi(digits.substr(0, 2));
  const int minutes = digits.size() == 4 ? std::stoi(digits.substr(2)) : 0;
  if (hours > 23 || minutes > 59) return std::nullopt;
  return sign * (hours * 3600 + minutes * 60);
}

bool parseTime(Scanner& scan, DateFields& fields) {
  auto hour = scan.number(2, 2);
  if (!hour || !scan.literal(":")) return false;
  auto minute = scan.number(2, 2);
  if (!minute || !scan.literal(":")) return false;
  auto second = scan.number(2, 2);
  if (!second) return false;
  fields.hour = *hour;
  fields.minute = *minute;
  fields.second = *second;
  return true;
}

bool parseZoneRest(Scanner& scan, DateFields& fields) {
  if (!scan.spaces()) return false;
  auto zone = parseZone(scan.rest());
  if (!zone) return false;
  fields.offsetSeconds = *zone;
  return true;
}

// "Sun, 06 Nov 1994 08:49:37 GMT"
std::optional<DateFields> parseRFC1123(std::string_view text) {
  Scanner scan(text);
  DateFields fields;
  if (!scan.oneOf(kShortDays) || !scan.literal(",") || !scan.spaces()) return std::nullopt;
  auto day = scan.number(1, 2);
  if (!day || !scan.spaces()) return std::nullopt;
  auto month = scan.oneOf(kMonths);
  if (!month || !scan.spaces()) return std::nullopt;
  auto year = scan.number(4, 4);
  if (!year || !scan.spaces() || !parseTime(scan, fields) || !parseZoneRest(scan, fields))
    return std::nullopt;
  fields.year = *year;
  fields.month = *month + 1;
  fields.day = *day;
  return fields;
}

// "Sunday, 06-Nov-94 08:49:37 GMT"; the two-digit year is taken within the
// 80 years before and 20 after `nowYear`.
std::optional<DateFields> parseRFC850(std::string_view text, int nowYear) {
  Scanner scan(text);
  DateFields fields;
  if (!scan.oneOf(kLongDays) || !scan.literal(",") || !scan.spaces()) return std::nullopt;
  auto day = scan.number(2, 2);
  if (!day || !scan.literal("-")) return std::nullopt;
  auto month = scan.oneOf(kMonths);
  if (!month || !scan.literal("-")) return std::nullopt;
  auto year = scan.number(2, 2);
  if (!year || !scan.spaces() || !parseTime(scan, fields) || !parseZoneRest(scan, fields))
    return std::nullopt;
  int fullYear = (nowYear - 80) / 100 * 100 + *year;
  if (fullYear < nowYear - 80) fullYear += 100;
  fields.year = fullYear;
  fields.month = *month + 1;
  fields.day = *day;
  return fields;
}

// "Sun Nov  6 08:49:37 1994", in UTC.
std::optional<DateFields> parseAsctime(std::string_view text) {
  Scanner scan(text);
  DateFields fields;
  if (!scan.oneOf(kShortDays) || !scan.spaces()) return std::nullopt;
  auto month = scan.oneOf(kMonths);
  if (!month || !scan.spaces()) return std::nullopt;
  auto day = scan.number(1, 2);
  if (!day || !scan.spaces() || !parseTime(scan, fields) || !scan.spaces()) return std::nullopt;
  auto year = scan.number(4, 4);
  if (!year || !scan.atEnd()) return std::nullopt;
  fields.year = *year;
  fields.month = *month + 1;
  fields.day = *day;
  return fields;
}

std::optional<core::TimePoint> toTime(const DateFields& fields) {
  using namespace std::chrono;
  const year_month_day date{year{fields.year}, month{static_cast<unsigned>(fields.month)},
                            day{static_cast<unsigned>(fields.day)}};
  if (!date.ok() || fields.hour > 23 || fields.minute > 59 || fields.second > 60) return std::nullopt;
  const auto time = sys_days{date} + hours{fields.hour} + minutes{fields.minute} + seconds{fields.second} -
                    seconds{fields.offsetSeconds};
  return time_point_cast<microseconds>(time);
}

std::string_view trimmed(std::string_view text) {
  const size_t start = text.find_first_not_of(" \t");
  if (start == std::string_view::npos) return {};
  return text.substr(start, text.find_last_not_of(" \t") - start + 1);
}

}  // namespace

std::optional<double> AITransportRetryBudget::nextDelay(std::optional<double> retryAfter) {
  const auto now = clock_.now();
  if (!firstFailure_) firstFailure_ = now;
  const double elapsed = std::chrono::duration<double>(now - *firstFailure_).count();
  if (retryCount_ >= policy_.delays.size() || elapsed >= policy_.retryWindow) return std::nullopt;
  const double factor = 0.8 + 0.4 * std::clamp(random_.nextUnit(), 0.0, 1.0);
  const double base = policy_.delays[retryCount_] * factor;
  const double delay = retryAfter ? std::max(base, *retryAfter) : base;
  if (!std::isfinite(delay) || delay < 0 || elapsed + delay >= policy_.retryWindow) return std::nullopt;
  ++retryCount_;
  return delay;
}

bool isRetryableHTTPStatus(long status, bool safeToRepeat) {
  if (status == 429 || status == 408) return true;
  if (!safeToRepeat) return false;
  return status == 500 || status == 502 || status == 503 || status == 504 || status == 529;
}

std::optional<double> parseRetryAfter(std::string_view value, core::TimePoint now) {
  value = trimmed(value);
  if (value.empty()) return std::nullopt;
  if (std::all_of(value.begin(), value.end(),
                  [](char c) { return std::isdigit(static_cast<unsigned char>(c)); })) {
    double seconds = 0;
    for (char c : value) seconds = seconds * 10 + (c - '0');
    return seconds;
  }
  const int nowYear =
      static_cast<int>(std::chrono::year_month_day{std::chrono::floor<std::chrono::days>(now)}.year());
  std::optional<DateFields> fields = parseRFC1123(value);
  if (!fields) fields = parseRFC850(value, nowYear);
  if (!fields) fields = parseAsctime(value);
  if (!fields) return std::nullopt;
  const auto date = toTime(*fields);
  if (!date) return std::nullopt;
  return std::max(0.0, std::chrono::duration<double>(*date - now).count());
}

std::optional<double> retryDelayInErrorBody(std::string_view body) {
  if (body.find("RetryInfo") == std::string_view::npos) return std::nullopt;
  try {
    const core::JSONValue value = core::JSONValue::parse(body);
    const core::JSONValue* error = value.find("error");
    const core::JSONValue* details = error == nullptr ? nullptr : error->find("details");
    if (details == nullptr || details->array() == nullptr) return std::nullopt;
    for (const core::JSONValue& detail : *details->array()) {
      const core::JSONValue* type = detail.find("@type");
      const core::JSONValue* delay = detail.find("retryDelay");
      if (type == nullptr || type->string() == nullptr ||
          !type->string()->ends_with("google.rpc.RetryInfo") || delay == nullptr ||
          delay->string() == nullptr || !delay->string()->ends_with('s')) {
        continue;
      }
      const std::string& text = *delay->string();
      double seconds = 0;
      const auto [end, status] = std::from_chars(text.data(), text.data() + text.size() - 1, seconds);
      if (status == std::errc() && end == text.data() + text.size() - 1 && std::isfinite(seconds) &&
          seconds >= 0) {
        return seconds;
      }
    }
  } catch (const core::JSONValueError&) {
  }
  return std::nullopt;
}

}  // namespace zephyl::ai
