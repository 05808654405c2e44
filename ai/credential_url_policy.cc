#include "ai/credential_url_policy.h"

#include <algorithm>
#include <cctype>
#include <string>

namespace zephyl::ai {
namespace {

std::string lowercase(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::tolower(c); });
  return out;
}

bool isLoopbackIPv4(std::string_view host) {
  if (!host.starts_with("127.")) return false;
  int parts = 0;
  size_t at = 0;
  while (at <= host.size()) {
    const size_t end = std::min(host.find('.', at), host.size());
    const std::string_view part = host.substr(at, end - at);
    if (part.empty() || part.size() > 3 || !std::all_of(part.begin(), part.end(), ::isdigit) ||
        std::stoi(std::string(part)) > 255) {
      return false;
    }
    ++parts;
    at = end + 1;
  }
  return parts == 4;
}

}  // namespace

bool mayCarryCredential(std::string_view url) {
  const std::string lower = lowercase(url);
  if (lower.starts_with("https://")) return true;
  if (!lower.starts_with("http://")) return false;
  std::string_view authority = std::string_view(lower).substr(7);
  authority = authority.substr(0, authority.find_first_of("/?#"));
  if (authority.find('@') != std::string_view::npos) return false;  // no user-info tricks
  std::string_view host = authority;
  if (host.starts_with("[")) {
    host = host.substr(0, host.find(']') + 1);
    return host == "[::1]";
  }
  host = host.substr(0, host.find(':'));
  return host == "localhost" || isLoopbackIPv4(host);
}

}  // namespace zephyl::ai
