#include "agents/internal/https_url.h"

#include <algorithm>
#include <cctype>

#include "core/ascii_lowercase.h"

namespace zephyl::agents::internal {
namespace {

bool isHostCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '.' || c == '-';
}

bool isDigits(std::string_view text) {
  return !text.empty() && text.size() <= 5 &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

std::optional<std::string> httpsURLHost(std::string_view url) {
  constexpr std::string_view kScheme = "https://";
  if (url.size() < kScheme.size() || core::asciiLowercase(url.substr(0, kScheme.size())) != kScheme)
    return std::nullopt;
  for (const char c : url) {
    if (static_cast<unsigned char>(c) <= 0x20 || c == 0x7F || c == '\\') return std::nullopt;
  }
  const std::string_view rest = url.substr(kScheme.size());
  const std::string_view authority = rest.substr(0, rest.find_first_of("/?#"));
  if (authority.find_first_of("@%") != std::string_view::npos) return std::nullopt;

  std::string_view host = authority;
  std::string_view port;
  if (authority.starts_with('[')) {
    const size_t close = authority.find(']');
    if (close == std::string_view::npos) return std::nullopt;
    host = authority.substr(0, close + 1);
    const std::string_view after = authority.substr(close + 1);
    if (!after.empty()) {
      if (!after.starts_with(':')) return std::nullopt;
      port = after.substr(1);
      if (!isDigits(port)) return std::nullopt;
    }
    const std::string_view inside = host.substr(1, host.size() - 2);
    if (inside.empty() || !std::all_of(inside.begin(), inside.end(), [](char c) {
          return std::isxdigit(static_cast<unsigned char>(c)) != 0 || c == ':' || c == '.';
        })) {
      return std::nullopt;
    }
    return core::asciiLowercase(host);
  }
  const size_t colon = authority.find(':');
  if (colon != std::string_view::npos) {
    host = authority.substr(0, colon);
    if (!isDigits(authority.substr(colon + 1))) return std::nullopt;
  }
  if (host.empty() || !std::all_of(host.begin(), host.end(), isHostCharacter)) return std::nullopt;
  return core::asciiLowercase(host);
}

bool isLoopbackHost(std::string_view host) {
  if (host == "localhost" || host == "[::1]") return true;
  if (!host.starts_with("127.")) return false;
  int dots = 0;
  for (const char c : host) {
    if (c == '.') {
      ++dots;
    } else if (c < '0' || c > '9') {
      return false;
    }
  }
  return dots == 3;
}

}  // namespace zephyl::agents::internal
