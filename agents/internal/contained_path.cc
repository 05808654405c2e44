#include "agents/internal/contained_path.h"

#include <vector>

namespace zephyl::agents::internal {
namespace {

std::vector<std::string_view> components(std::string_view path) {
  std::vector<std::string_view> parts;
  size_t start = 0;
  while (start <= path.size()) {
    const size_t slash = path.find('/', start);
    const size_t end = slash == std::string_view::npos ? path.size() : slash;
    const std::string_view part = path.substr(start, end - start);
    if (!part.empty() && part != ".") parts.push_back(part);
    start = end + 1;
  }
  return parts;
}

std::string joined(const std::vector<std::string_view>& parts) {
  std::string path;
  for (const std::string_view part : parts) {
    if (!path.empty()) path += '/';
    path += part;
  }
  return path;
}

bool hasForbiddenCharacter(std::string_view path) {
  return path.find('\0') != std::string_view::npos || path.find('\\') != std::string_view::npos;
}

}  // namespace

std::optional<std::string> containedRelativePath(std::string_view path) {
  if (path.empty() || path.front() == '/' || hasForbiddenCharacter(path)) return std::nullopt;
  const std::vector<std::string_view> parts = components(path);
  if (parts.empty()) return std::nullopt;
  for (const std::string_view part : parts) {
    if (part == "..") return std::nullopt;
  }
  return joined(parts);
}

std::optional<std::string> containedLinkTarget(std::string_view linkPath, std::string_view target) {
  if (target.empty() || target.front() == '/' || hasForbiddenCharacter(target)) return std::nullopt;
  std::vector<std::string_view> resolved = components(linkPath);
  if (!resolved.empty()) resolved.pop_back();  // relative to the link's own folder
  for (const std::string_view part : components(target)) {
    if (part != "..") {
      resolved.push_back(part);
    } else if (resolved.empty()) {
      return std::nullopt;
    } else {
      resolved.pop_back();
    }
  }
  return joined(resolved);
}

}  // namespace zephyl::agents::internal
