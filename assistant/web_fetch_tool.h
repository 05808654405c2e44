// WebFetchTool: the function tool that fetches one web page for the model,
// where the provider has no fetch tool of its own. Only https (plain http only
// to this computer); redirects are followed here, at most kMaximumRedirects,
// and a page first reached at a public address may not redirect to a private,
// link-local or loopback one. The page is read up to a size bound within a
// time bound, binary content is refused, and HTML comes back as readable text
// wrapped as untrusted reference data.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ai/ai_function_tool.h"
#include "ai/http_transport.h"
#include "core/error.h"

namespace zephyl::assistant {

class WebFetchError : public core::Error {
 public:
  enum class Code {
    kMissingURL,
    kUnsupportedURL,
    kPlainHTTP,
    kPrivateRedirect,
    kTooManyRedirects,
    kBinaryContent,
    kHTTPStatus,
    kTimedOut,
    kUnreachable,
    kEmptyPage,
  };

  explicit WebFetchError(Code code, std::string_view detail = {})
      : Error(std::string(text(code)) + (detail.empty() ? "" : " (" + std::string(detail) + ")")),
        code_(code) {}

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kMissingURL:
        return "The web fetch call named no URL.";
      case Code::kUnsupportedURL:
        return "Web fetch reads only http:// and https:// addresses.";
      case Code::kPlainHTTP:
        return "Web fetch uses plain http:// only on this computer; use an https:// address.";
      case Code::kPrivateRedirect:
        return "The page redirected from a public address to a private or local one, which web fetch does "
               "not "
               "follow.";
      case Code::kTooManyRedirects:
        return "The page redirected too many times.";
      case Code::kBinaryContent:
        return "The address holds binary content, not a page web fetch can read.";
      case Code::kHTTPStatus:
        return "The web server refused the page.";
      case Code::kTimedOut:
        return "The page did not arrive in time.";
      case Code::kUnreachable:
        return "The page could not be fetched.";
      case Code::kEmptyPage:
        return "The page has no readable text.";
    }
    return {};
  }

  Code code() const { return code_; }

 private:
  Code code_;
};

// Where a host is: on the public internet, or private (loopback, private
// ranges, link-local, unresolvable).
enum class WebHostScope { kPublic, kPrivate };
using WebHostScopeOf = std::function<WebHostScope(std::string_view host)>;

// The scope of an IP address literal (IPv4 dotted, or IPv6 without brackets);
// none for a name.
std::optional<WebHostScope> webAddressScope(std::string_view address);
// The scope of `host` as this computer resolves it: private when any of its
// addresses is (or it does not resolve). The connection resolves again, so a
// name that changes its answer in between is not caught; literal addresses and
// every redirect hop are.
WebHostScope resolvedWebHostScope(std::string_view host);

struct WebFetchLimits {
  size_t maximumBytes = 2 * 1024 * 1024;      // read, then the rest is cut
  std::chrono::milliseconds timeout{20'000};  // the whole exchange, per request
  int maximumRedirects = 5;
};

class WebFetchTool : public ai::AIFunctionTool {
 public:
  static constexpr std::string_view kName = "fetch_web_page";

  // `transport` must not follow redirects. `scopeOf` places a host
  // (resolvedWebHostScope, or a test's own).
  WebFetchTool(std::shared_ptr<ai::HTTPTransport> transport, WebHostScopeOf scopeOf,
               WebFetchLimits limits = {})
      : transport_(std::move(transport)), scopeOf_(std::move(scopeOf)), limits_(limits) {}

  std::string name() const override { return std::string(kName); }
  core::JSONValue definition() const override;
  ai::AIToolKind kind() const override { return ai::AIToolKind::kWebFetch; }
  ai::AIToolCallUpdate started(const core::JSONValue& arguments) const override;
  ai::AIFunctionToolOutcome run(const core::JSONValue& arguments, std::stop_token stop,
                                ai::AIToolCallUpdate& update) override;

  // The page at `url`, wrapped; throws WebFetchError, core::CancellationError.
  // `fetchedURLs` receives each address requested, redirects included.
  std::string fetch(const std::string& url, std::stop_token stop, std::vector<std::string>& fetchedURLs);

 private:
  std::shared_ptr<ai::HTTPTransport> transport_;
  WebHostScopeOf scopeOf_;
  WebFetchLimits limits_;
};

}  // namespace zephyl::assistant
