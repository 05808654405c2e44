// Relative paths that must stay inside one folder: archive entry names, link
// targets and the agent's command. Pure string logic, so that a path is judged
// before anything touches the disk.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zephyl::agents::internal {

// `path` with "." and empty components dropped ("./bin//agent" -> "bin/agent"),
// or nullopt when it is empty, absolute, holds a ".." component, a NUL or a
// backslash (a separator on other systems), so it could name something outside
// the folder or nothing at all.
std::optional<std::string> containedRelativePath(std::string_view path);

// The folder-relative path a symbolic link at `linkPath` (already contained)
// points to, or nullopt when `target` is absolute or climbs out of the folder.
// Lexical only: links through other links are checked on disk after extraction.
std::optional<std::string> containedLinkTarget(std::string_view linkPath, std::string_view target);

}  // namespace zephyl::agents::internal
