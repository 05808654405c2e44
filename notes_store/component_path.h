// Folder component paths: each component written as its length in UTF-8 bytes,
// a colon, and the component ("6:iCloud4:Work8:Projects"), so that separators
// inside folder names (" › ", ":", digits) cannot confuse the split.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zephyl::notes_store {

// The components in order, or nullopt when the text is not a well-formed
// component path (a bad length, a missing colon, a length past the end).
std::optional<std::vector<std::string>> parseComponentPath(std::string_view componentPath);

// The inverse of parseComponentPath.
std::string makeComponentPath(const std::vector<std::string>& components);

}  // namespace zephyl::notes_store
