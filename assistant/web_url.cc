#include "assistant/web_url.h"

#include <cctype>

namespace zephyl::assistant {
namespace {

std::string lowered(std::string_view text) {
  std::string result(text);
  for (char& character : result)
    character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  return result;
}

// Where the scheme's "//" ends, for http and https only.
std::optional<size_t> authorityStart(std::string_view url) {
  const std::string scheme = lowered(url.substr(0, 8));
  if (scheme.starts_with("https://")) return 8;
  if (scheme.starts_with("http://")) return 7;
  return std::nullopt;
}

}  // namespace

std::optional<std::string> webURLHost(std::string_view url) {
  const auto start = authorityStart(url);
  if (!start) return std::nullopt;
  std::string_view authority = url.substr(*start);
  authority = authority.substr(0, authority.find_first_of("/?#"));
  if (const size_t at = authority.rfind('@'); at != std::string_view::npos) authority.remove_prefix(at + 1);
  std::string_view host;
  if (authority.starts_with('[')) {
    const size_t close = authority.find(']');
    if (close == std::string_view::npos) return std::nullopt;
    host = authority.substr(1, close - 1);
  } else {
    host = authority.substr(0, authority.find(':'));
  }
  if (host.empty()) return std::nullopt;
  return lowered(host);
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
