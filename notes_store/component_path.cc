#include "notes_store/component_path.h"

#include <charconv>

namespace zephyl::notes_store {

std::optional<std::vector<std::string>> parseComponentPath(std::string_view text) {
  std::vector<std::string> components;
  size_t position = 0;
  while (position < text.size()) {
    const size_t colon = text.find(':', position);
    if (colon == std::string_view::npos || colon == position) return std::nullopt;
    size_t length = 0;
    const auto [end, error] = std::from_chars(text.data() + position, text.data() + colon, length);
    if (error != std::errc() || end != text.data() + colon) return std::nullopt;
    const size_t start = colon + 1;
    if (length > text.size() - start) return std::nullopt;
    components.emplace_back(text.substr(start, length));
    position = start + length;
  }
  return components;
}

std::string makeComponentPath(const std::vector<std::string>& components) {
  std::string text;
  for (const std::string& component : components) {
    text += std::to_string(component.size());
    text += ':';
    text += component;
  }
  return text;
}

}  // namespace zephyl::notes_store
