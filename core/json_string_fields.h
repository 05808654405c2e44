// Reading a few top-level string members of a JSON object without building a
// document: the hot path of streamed answers, where each of thousands of small
// events carries one text delta. Anything unexpected (a malformed document, a
// wanted member that is not a string, text that is not UTF-8) reads as
// nullopt, and the caller falls back to JSONValue::parse.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace zephyl::core {

// The decoded values of the members named in `keys`, in that order; a member
// that is absent stays nullopt. Nullopt when `text` is not one JSON object as
// far as the scan can tell, or a wanted member holds something other than a
// string. Other members are skipped, nested values included.
template <size_t N>
std::optional<std::array<std::optional<std::string>, N>> readJSONStringFields(
    std::string_view text, const std::array<std::string_view, N>& keys);

namespace internal {
// The scanner behind readJSONStringFields: `found[i]` receives the value of `keys[i]`.
bool scanJSONStringFields(std::string_view text, const std::string_view* keys,
                          std::optional<std::string>* found, size_t count);
}  // namespace internal

template <size_t N>
std::optional<std::array<std::optional<std::string>, N>> readJSONStringFields(
    std::string_view text, const std::array<std::string_view, N>& keys) {
  std::array<std::optional<std::string>, N> found;
  if (!internal::scanJSONStringFields(text, keys.data(), found.data(), N)) return std::nullopt;
  return found;
}

}  // namespace zephyl::core
