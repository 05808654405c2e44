// Where an AI service is reached: its default base URL, replaced by the
// `aiProviderBaseURLs` setting or a per-run override, and the rule that a
// credential never travels over plain http except to this computer.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "ai/ai_provider.h"
#include "core/error.h"
#include "core/settings_store.h"

namespace zephyl::ai {

class AIServiceEndpointError : public core::Error {
 public:
  enum class Code { kPlainHTTPCredential };

  explicit AIServiceEndpointError(Code code) : Error(std::string(text(code))), code_(code) {}

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kPlainHTTPCredential:
        return "Zephyl sends credentials over plain http:// only to this computer (127.0.0.0/8, localhost or "
               "[::1]). Use an https:// address for this service.";
    }
    return {};
  }

  Code code() const { return code_; }

 private:
  Code code_;
};

enum class AIServiceURLCheck { kAllowed, kInvalid, kPlainHTTPToRemoteHost };

// The authority of an absolute http(s) URL, as written.
struct HTTPURLAuthority {
  bool secure = false;       // https
  size_t start = 0;          // offset just after "//"
  bool hasUserInfo = false;  // "user:password@" before the host
  std::string_view host;     // after any user info, without the port; IPv6 literals keep their brackets
};

// The authority of `url` when it begins with http:// or https:// (any case) and
// names a host; none otherwise. The views point into `url`.
std::optional<HTTPURLAuthority> parseHTTPURLAuthority(std::string_view url);

// Whether a request that carries a credential may go to `url`: https anywhere,
// http only to a loopback host (127.0.0.0/8, "localhost", "[::1]"). Anything that
// is not an absolute http(s) URL with a host is kInvalid.
AIServiceURLCheck checkCredentialURL(std::string_view url);

// Throws AIServiceEndpointError for kPlainHTTPToRemoteHost; returns whether the
// URL is usable at all (false for kInvalid, which each service reports in its
// own words).
bool requireCredentialSafeURL(std::string_view url);

// `baseURL` without trailing slashes, followed by `path` ("/responses").
std::string serviceURL(std::string_view baseURL, std::string_view path);

// The base URL the `aiProviderBaseURLs` setting gives `provider` (an object
// from raw value to URL, or a string holding that JSON), if any. Unreadable
// settings read as none and are logged.
std::optional<std::string> configuredBaseURL(AIProvider provider, core::SettingsStore* settings);

}  // namespace zephyl::ai
