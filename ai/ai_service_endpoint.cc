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

AIServiceURLCheck checkCredentialURL(std::string_view url) {
  bool secure;
  if (startsWithCaseless(url, "https://")) {
    secure = true;
    url.remove_prefix(8);
  } else if (startsWithCaseless(url, "http://")) {
    secure = false;
    url.remove_prefix(7);
  } else {
    return AIServiceURLCheck::kInvalid;
  }
  std::string_view authority = url.substr(0, url.find_first_of("/?#"));
  // user:password@ would hide the real host from a reader of the address.
  if (authority.find('@') != std::string_view::npos) return AIServiceURLCheck::kInvalid;
  std::string_view host = authority;
  if (host.starts_with('[')) {
    const size_t close = host.find(']');
    if (close == std::string_view::npos) return AIServiceURLCheck::kInvalid;
    host = host.substr(0, close + 1);
  } else {
    host = host.substr(0, host.find(':'));
  }
  if (host.empty() || host.find_first_of(" \t\r\n") != std::string_view::npos)
    return AIServiceURLCheck::kInvalid;
  if (secure || isLoopbackHost(host)) return AIServiceURLCheck::kAllowed;
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
