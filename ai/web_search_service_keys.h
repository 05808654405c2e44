// Where the user's web search service is configured: its address in settings,
// its key in the credential store (or the environment), never in settings.
#pragma once

#include <string_view>

namespace zephyl::ai {

inline constexpr std::string_view kWebSearchServiceURLKey = "webSearchServiceURL";
inline constexpr std::string_view kWebSearchServiceKeyName = "webSearchServiceKey";

}  // namespace zephyl::ai
