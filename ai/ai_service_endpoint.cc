#include "ai/ai_service_endpoint.h"

#include <charconv>

#include "core/logger.h"

namespace zephyl::ai {
namespace {

constexpr core::Logger kLog("AIServiceEndpoint");

bool startsWithCaseless(std::string_view text, std::string_view prefix) {
  if (text.size() < prefix.size()) return false;
  for (size_t index = 0; index < prefix.size(); ++index) {
    char character = text[index];
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
    if (character != prefix[index]) return false;
  }
  return true;
}

// A dotted IPv4 address whose first byte is 127.
bool isLoopbackIPv4(std::string_view host) {
  int parts = 0;
  int first = -1;
  while (!host.empty()) {
    const size_t dot = host.find('.');
    const std::string_view part = host.substr(0, dot);
    int value = -1;
    const auto [end, error] = std::from_chars(part.data(), part.data() + part.size(), value);
    if (part.empty() || error != std::errc() || end != part.data() + part.size() || value > 255) return false;
    if (parts == 0) first = value;
    ++parts;
    if (dot == std::string_view::npos) break;
    host.remove_prefix(dot + 1);
    if (host.empty()) return false;
  }
  return parts == 4 && first == 127;
}

bool isLoopbackHost(std::string_view host) {
  if (host == "[::1]") return true;
  if (host.size() == 9 && startsWithCaseless(host, "localhost")) return true;
  return isLoopbackIPv4(host);
}

}  // namespace

std::optional<HTTPURLAuthority> parseHTTPURLAuthority(std::string_view url) {
  HTTPURLAuthority parsed;
  if (startsWithCaseless(url, "https://")) {
    parsed.secure = true;
    parsed.start = 8;
  } else if (startsWithCaseless(url, "http://")) {
    parsed.start = 7;
  } else {
    return std::nullopt;
  }
  std::string_view authority = url.substr(parsed.start);
  authority = authority.substr(0, authority.find_first_of("/?#"));
  if (const size_t at = authority.rfind('@'); at != std::string_view::npos) {
    parsed.hasUserInfo = true;
    authority.remove_prefix(at + 1);
  }
  if (authority.starts_with('[')) {
    const size_t close = authority.find(']');
    if (close == std::string_view::npos) return std::nullopt;
    parsed.host = authority.substr(0, close + 1);
  } else {
    parsed.host = authority.substr(0, authority.find(':'));
  }
  if (parsed.host.empty()) return std::nullopt;
  return parsed;
}

AIServiceURLCheck checkCredentialURL(std::string_view url) {
  const auto authority = parseHTTPURLAuthority(url);
  // user:password@ would hide the real host from a reader of the address.
  if (!authority || authority->hasUserInfo ||
      authority->host.find_first_of(" \t\r\n") != std::string_view::npos)
    return AIServiceURLCheck::kInvalid;
  if (authority->secure || isLoopbackHost(authority->host)) return AIServiceURLCheck::kAllowed;
  return AIServiceURLCheck::kPlainHTTPToRemoteHost;
}

bool requireCredentialSafeURL(std::string_view url) {
  switch (checkCredentialURL(url)) {
    case AIServiceURLCheck::kAllowed:
      return true;
    case AIServiceURLCheck::kInvalid:
      return false;
    case AIServiceURLCheck::kPlainHTTPToRemoteHost:
      kLog.warning() << "Refused to send a credential over plain http to " << core::Private(std::string(url));
      throw AIServiceEndpointError(AIServiceEndpointError::Code::kPlainHTTPCredential);
  }
  return false;
}

std::string serviceURL(std::string_view baseURL, std::string_view path) {
  while (baseURL.ends_with('/')) baseURL.remove_suffix(1);
  return std::string(baseURL) + std::string(path);
}

std::optional<std::string> configuredBaseURL(AIProvider provider, core::SettingsStore* settings) {
  if (settings == nullptr) return std::nullopt;
  try {
    std::optional<core::JSONValue> value = settings->jsonValue("aiProviderBaseURLs");
    if (value && value->string()) value = core::JSONValue::parse(*value->string());
    if (!value) return std::nullopt;
    const core::JSONValue* url = value->find(rawValue(provider));
    if (url != nullptr && url->string() != nullptr && !url->string()->empty()) return *url->string();
  } catch (const core::Error& error) {
    kLog.warning() << "aiProviderBaseURLs unreadable: " << error.description();
  }
  return std::nullopt;
}

}  // namespace zephyl::ai
