#include "assistant/web_url.h"

#include "ai/ai_service_endpoint.h"
#include "core/ascii_lowercase.h"

namespace zephyl::assistant {
namespace {

// Where the scheme's "//" ends, for http and https only.
std::optional<size_t> authorityStart(std::string_view url) {
  const auto authority = ai::parseHTTPURLAuthority(url);
  if (!authority) return std::nullopt;
  return authority->start;
}

}  // namespace

std::optional<std::string> webURLHost(std::string_view url) {
  const auto authority = ai::parseHTTPURLAuthority(url);
  if (!authority) return std::nullopt;
  std::string_view host = authority->host;
  if (host.starts_with('[')) host = host.substr(1, host.size() - 2);
  if (host.empty()) return std::nullopt;
  return core::asciiLowercase(host);
}

std::string resolveWebURL(std::string_view base, std::string_view reference) {
  if (authorityStart(reference) || reference.find("://") != std::string_view::npos)
    return std::string(reference);
  const auto start = authorityStart(base);
  if (!start) return std::string(reference);
  if (reference.starts_with("//")) return std::string(base.substr(0, *start - 2)) + std::string(reference);
  const size_t pathStart = base.find_first_of("/?#", *start);
  const std::string_view origin = base.substr(0, pathStart);
  std::string_view path = pathStart == std::string_view::npos ? "/" : base.substr(pathStart);
  path = path.substr(0, path.find('#'));
  if (reference.empty()) return std::string(origin) + std::string(path);
  if (reference.starts_with('/')) return std::string(origin) + std::string(reference);
  const std::string_view pathOnly = path.substr(0, path.find('?'));
  if (reference.starts_with('?')) return std::string(origin) + std::string(pathOnly) + std::string(reference);
  if (reference.starts_with('#')) return std::string(origin) + std::string(path) + std::string(reference);
  const size_t slash = pathOnly.rfind('/');
  const std::string_view directory = slash == std::string_view::npos ? "/" : pathOnly.substr(0, slash + 1);
  return std::string(origin) + std::string(directory.empty() ? "/" : directory) + std::string(reference);
}

}  // namespace zephyl::assistant
