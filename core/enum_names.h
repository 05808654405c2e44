// The stored or printed name of each value of an enumeration, both ways.
//
//   constexpr EnumNames<Color, 2> kColorNames({{{Color::red, "red"}, {Color::blue, "blue"}}});
//   kColorNames.name(Color::red);  // "red"
//   kColorNames.value("blue");     // Color::blue; nullopt for a name not listed
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

namespace zephyl::core {

template <typename Enum, size_t N>
class EnumNames {
 public:
  constexpr explicit EnumNames(std::array<std::pair<Enum, std::string_view>, N> entries)
      : entries_(entries) {}

  // Empty for a value that is not listed.
  constexpr std::string_view name(Enum value) const {
    for (const auto& [candidate, name] : entries_) {
      if (candidate == value) return name;
    }
    return {};
  }

  // Exact, case-sensitive match.
  constexpr std::optional<Enum> value(std::string_view name) const {
    for (const auto& [value, candidate] : entries_) {
      if (candidate == name) return value;
    }
    return std::nullopt;
  }

 private:
  std::array<std::pair<Enum, std::string_view>, N> entries_;
};

}  // namespace zephyl::core
