// The usage heat map of `zephyl usage`: one cell per day, weeks as columns
// (Sunday on top), shaded by the day's reported tokens.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "ai/ai_usage_snapshot.h"

namespace zephyl::cli {

// The `count` days that end with `today`, oldest first, each with the totals
// of `snapshot` (zero for days without requests).
std::vector<ai::AIUsageDayTotal> usageWindow(const ai::AIUsageSnapshot& snapshot,
                                             std::chrono::year_month_day today, int count);

// The grid with month names above and weekday names beside it, then a legend.
// Cells are two columns wide when `width` (0: unknown) leaves room, else one;
// shades are colours when `color`, else block characters.
std::string renderUsageHeatMap(const std::vector<ai::AIUsageDayTotal>& window, int width, bool color);

}  // namespace zephyl::cli
