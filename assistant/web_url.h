// The few URL operations that fetching a web page needs: the host of an
// absolute http(s) URL and a redirect's or link's target resolved against the
// page it came from.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zephyl::assistant {

// The host of an absolute http(s) URL, lowercased, IPv6 literals without their
// brackets; none for anything else.
std::optional<std::string> webURLHost(std::string_view url);

// `reference` (absolute, scheme-relative, absolute path, query or relative
// path) resolved against `base`; "." and ".." segments are not collapsed, the
// server sees them as given.
std::string resolveWebURL(std::string_view base, std::string_view reference);

}  // namespace zephyl::assistant
