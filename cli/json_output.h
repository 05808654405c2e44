// JSON output of the commands: stable field order, two-space indent, invalid
// UTF-8 from the database replaced rather than failing the whole output.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>

#include "core/apple_time.h"

namespace zephyl::cli {

using Json = nlohmann::ordered_json;

inline void printJson(std::ostream& out, const Json& value) {
  out << value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

inline Json jsonTime(const std::optional<core::TimePoint>& time) {
  if (!time) return nullptr;
  return core::formatIso8601(*time);
}

}  // namespace zephyl::cli
