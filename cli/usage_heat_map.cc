#include "cli/usage_heat_map.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>

namespace zephyl::cli {
namespace {

using namespace std::chrono;

std::string dayText(year_month_day date) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "%04d-%02u-%02u", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
  return buffer;
}

constexpr std::array<const char*, 5> kBlocks = {"·", "░", "▒", "▓", "█"};
constexpr std::array<int, 5> kGreens = {238, 22, 28, 34, 46};  // xterm-256 shades
constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

std::string cell(int level, bool color) {
  if (!color) return kBlocks[level];
  return "\x1b[38;5;" + std::to_string(kGreens[level]) + "m■\x1b[0m";
}

// 0 for no requests; 1 to 4 by quarter of the busiest day (tokens, or
// requests when no service reported tokens).
int level(const ai::AIUsageDayTotal& day, int64_t maximum, bool byTokens) {
  const int64_t value = byTokens ? day.reportedTokens : day.requests;
  if (day.requests == 0 && value == 0) return 0;
  if (maximum <= 0 || value <= 0) return 1;
  return 1 + static_cast<int>(std::min<int64_t>(3, (value * 4 - 1) / maximum));
}

}  // namespace

std::vector<ai::AIUsageDayTotal> usageWindow(const ai::AIUsageSnapshot& snapshot, year_month_day today,
                                             int count) {
  std::map<std::string, const ai::AIUsageDayTotal*> byDay;
  for (const auto& day : snapshot.days) byDay[day.day] = &day;
  std::vector<ai::AIUsageDayTotal> window;
  const sys_days last(today);
  for (int offset = count - 1; offset >= 0; --offset) {
    const std::string text = dayText(year_month_day(last - days(offset)));
    const auto it = byDay.find(text);
    window.push_back(it == byDay.end() ? ai::AIUsageDayTotal{text, 0, 0} : *it->second);
  }
  return window;
}

std::string renderUsageHeatMap(const std::vector<ai::AIUsageDayTotal>& window, int width, bool color) {
  if (window.empty()) return {};
  const auto parse = [](const std::string& text) {
    unsigned y = 0, m = 0, d = 0;
    std::sscanf(text.c_str(), "%u-%u-%u", &y, &m, &d);
    return year_month_day(year(static_cast<int>(y)), month(m), day(d));
  };
  const sys_days first(parse(window.front().day));
  const int leading = static_cast<int>(weekday(first).c_encoding());  // days before it in its week
  const int weeks = (leading + static_cast<int>(window.size()) + 6) / 7;
  constexpr int kLabelWidth = 4;
  const int cellWidth = width == 0 || kLabelWidth + 2 * weeks <= width ? 2 : 1;

  int64_t maxTokens = 0;
  int64_t maxRequests = 0;
  for (const auto& day : window) {
    maxTokens = std::max(maxTokens, day.reportedTokens);
    maxRequests = std::max(maxRequests, day.requests);
  }
  const bool byTokens = maxTokens > 0;

  // Month names over the week in which each month's first day falls.
  std::string months(static_cast<size_t>(kLabelWidth + weeks * cellWidth + 3), ' ');
  for (size_t i = 0; i < window.size(); ++i) {
    const year_month_day date(first + days(i));
    if (date.day() != day(1) && i != 0) continue;
    const size_t column = kLabelWidth + (leading + i) / 7 * cellWidth;
    const char* name = kMonths[static_cast<unsigned>(date.month()) - 1];
    if (i == 0 && window.size() > 7 && date.day() > day(21)) continue;  // no room before the next month
    months.replace(column, 3, name);
  }
  while (!months.empty() && months.back() == ' ') months.pop_back();

  std::string text = months + "\n";
  constexpr std::array<const char*, 7> kRowLabels = {"    ", "Mon ", "    ", "Wed ", "    ", "Fri ", "    "};
  for (int row = 0; row < 7; ++row) {
    std::string line = kRowLabels[row];
    for (int week = 0; week < weeks; ++week) {
      const int index = week * 7 + row - leading;
      if (index < 0 || index >= static_cast<int>(window.size())) {
        line += std::string(static_cast<size_t>(cellWidth), ' ');
        continue;
      }
      line += cell(level(window[static_cast<size_t>(index)], byTokens ? maxTokens : maxRequests, byTokens),
                   color);
      if (cellWidth == 2) line += ' ';
    }
    while (!line.empty() && line.back() == ' ') line.pop_back();
    text += line + "\n";
  }
  text += "    Less";
  for (int shade = 0; shade < 5; ++shade) text += " " + cell(shade, color);
  text += " More\n";
  return text;
}

}  // namespace zephyl::cli
