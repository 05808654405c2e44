// Lower-casing for texts compared without case in ASCII only: header names,
// URL schemes and hosts, file extensions, media types, hex digests and the
// error texts of services and agents. Other bytes, UTF-8 included, stay as
// they are, whatever the process's locale.
#pragma once

#include <string>
#include <string_view>

namespace zephyl::core {

inline std::string asciiLowercase(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

}  // namespace zephyl::core
