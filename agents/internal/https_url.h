// The host of an https URL, read strictly: download checks compare hosts, and a
// lenient reading that disagrees with the HTTP client's ("https://good@evil/")
// would let a registry entry pass for a host it does not name.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zephyl::agents::internal {

// The lowercase host (an IPv6 literal with its brackets) when `url` starts with
// "https://" (any case) and its authority is a plain host with an optional
// numeric port; nullopt for any other scheme, user information, percent signs,
// backslashes, white space or control characters anywhere in the URL.
std::optional<std::string> httpsURLHost(std::string_view url);

// True for 127.0.0.0/8, "localhost" and "[::1]".
bool isLoopbackHost(std::string_view host);

}  // namespace zephyl::agents::internal
