#include "assistant/web_fetch_tool.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>

#include "platform/linux/curl_http_transport.h"
#include "platform/testing/loopback_http_server.h"

namespace zephyl::assistant {
namespace {

using namespace std::chrono_literals;
using platform::testing::LoopbackConnection;
using platform::testing::LoopbackHTTPServer;
using platform::testing::LoopbackRequest;
using Code = WebFetchError::Code;

void reply(LoopbackConnection& connection, std::string_view headers, std::string_view body) {
  connection.write("HTTP/1.1 200 OK\r\n" + std::string(headers) +
                   "Content-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n");
  connection.write(body);
}

void redirect(LoopbackConnection& connection, std::string_view location) {
  connection.write("HTTP/1.1 302 Found\r\nLocation: " + std::string(location) +
                   "\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
}

using Serve = std::function<void(const LoopbackRequest&, LoopbackConnection&, int port)>;

// Serves `body` with `headers` to every request.
Serve page(std::string headers, std::string body) {
  return
      [=](const LoopbackRequest&, LoopbackConnection& connection, int) { reply(connection, headers, body); };
}

// One hostile (or ordinary) page. `serve` answers every request; `port` is the server's.
struct PageCase {
  std::string name;
  Serve serve;
  std::vector<std::string> shows;  // in the output; "{url}" is the server's root without its slash
  std::vector<std::string> hides;
  std::optional<Code> failure;
};

TEST(WebFetchToolTest, HostilePagesAreBoundedRefusedOrReadAsPlainText) {
  const std::vector<PageCase> cases{
      {"html: scripts, styles and comments never leak; entities, blocks and links are readable",
       page("Content-Type: text/html; charset=utf-8\r\n",
            "<html><head><title>Bakery &amp; Co</title><style>.secret{color:red}</style>"
            "<script>var leak = '<p>script text</p>';</script></head><body><!-- a comment -->"
            "<h1>Opening hours</h1><p>Bread &lt;daily&gt;&nbsp;from 7&#8211;9.</p>"
            "<p>See <a href=\"/menu?x=1\">the menu</a>.</p><script "
            "type=module>alert(1)</script></body></html>"),
       {"[UNTRUSTED REFERENCE DATA \u2014 Web Fetch: Bakery & Co \u2014 {url}/]\nOpening hours\n\n"
        "Bread <daily> from 7\u20139.\n\nSee the menu ({url}/menu?x=1)."},
       {"secret", "script text", "leak", "alert", "comment"},
       std::nullopt},
      {"a latin-1 page that says so only in a meta tag",
       page("Content-Type: text/html\r\n",
            "<html><head><meta http-equiv=\"Content-Type\" content=\"text/html; charset=ISO-8859-1\">"
            "</head><body><p>Caf\xE9 cr\xE8me</p></body></html>"),
       {"Caf\u00E9 cr\u00E8me"},
       {"\uFFFD"},
       std::nullopt},
      {"a UTF-8 byte order mark wins over a latin-1 header",
       page("Content-Type: text/plain; charset=iso-8859-1\r\n", "\xEF\xBB\xBFna\xC3\xAFve"),
       {"na\u00EFve"},
       {"\u00C3"},
       std::nullopt},
      {"a huge page is read up to the bound and marked as cut",
       [](const LoopbackRequest&, LoopbackConnection& connection, int) {
         connection.write("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 8000000\r\n\r\n");
         const std::string block(64 * 1024, 'a');
         for (int index = 0; index < 120 && connection.write(block); ++index) {
         }
       },
       {"[Page cut by Zephyl: only the first 64 KB were read.]"},
       {},
       std::nullopt},
      {"a page that stalls fails at the time bound",
       [](const LoopbackRequest&, LoopbackConnection& connection, int) {
         connection.write(
             "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: 100\r\n\r\n<p>start");
         connection.stallUntilServerStops();
       },
       {},
       {},
       Code::kTimedOut},
      {"a redirect loop stops after the redirect bound",
       [](const LoopbackRequest&, LoopbackConnection& connection, int) { redirect(connection, "/"); },
       {},
       {},
       Code::kTooManyRedirects},
      {"a relative redirect on the same public host is followed",
       [](const LoopbackRequest& request, LoopbackConnection& connection, int) {
         if (request.target == "/") return redirect(connection, "moved/page");
         reply(connection, "Content-Type: text/plain\r\n", "arrived at " + request.target);
       },
       {"arrived at /moved/page"},
       {},
       std::nullopt},
      {"a public page may not redirect to this computer",
       [](const LoopbackRequest& request, LoopbackConnection& connection, int port) {
         if (request.target == "/")
           return redirect(connection, "http://localhost:" + std::to_string(port) + "/");
         reply(connection, "Content-Type: text/plain\r\n", "internal secrets");
       },
       {},
       {"internal secrets"},
       Code::kPrivateRedirect},
      {"binary content is refused",
       page("Content-Type: image/png\r\n", std::string("\x89PNG\r\n\x1A\n\0\0\0", 11)),
       {},
       {},
       Code::kBinaryContent},
      {"binary bytes without a content type are refused",
       page("", std::string("PK\x03\x04\0\0\0\0 zipped", 16)),
       {},
       {},
       Code::kBinaryContent},
      {"an error status is a failure",
       [](const LoopbackRequest&, LoopbackConnection& connection, int) {
         connection.write(
             "HTTP/1.1 404 Not Found\r\nContent-Length: 9\r\nConnection: close\r\n\r\nnot found");
       },
       {},
       {},
       Code::kHTTPStatus},
  };
  const auto transport = std::make_shared<platform::CurlHTTPTransport>();
  // The server's own address counts as public here, so that its redirects inwards are tested.
  const WebHostScopeOf scopeOf = [](std::string_view host) {
    return host == "127.0.0.1" ? WebHostScope::kPublic : WebHostScope::kPrivate;
  };
  WebFetchTool tool(transport, scopeOf, WebFetchLimits{64 * 1024, 500ms, 3});
  for (const auto& page : cases) {
    SCOPED_TRACE(page.name);
    int port = 0;
    LoopbackHTTPServer server([&](const LoopbackRequest& request, LoopbackConnection& connection,
                                  int) { page.serve(request, connection, port); },
                              32);
    const std::string root = server.url("");
    port = std::stoi(root.substr(root.rfind(':') + 1));
    ai::AIToolCallUpdate update = tool.started(core::JSONValue::Object{{"url", server.url("/")}});
    const ai::AIFunctionToolOutcome outcome =
        tool.run(core::JSONValue::Object{{"url", server.url("/")}}, {}, update);
    if (page.failure) {
      ASSERT_TRUE(outcome.failureReason.has_value()) << outcome.output;
      EXPECT_TRUE(outcome.failureReason->starts_with(WebFetchError::text(*page.failure)))
          << *outcome.failureReason;
    } else {
      EXPECT_FALSE(outcome.failureReason.has_value()) << *outcome.failureReason;
    }
    for (std::string shown : page.shows) {
      for (size_t at; (at = shown.find("{url}")) != std::string::npos;) shown.replace(at, 5, root);
      EXPECT_NE(outcome.output.find(shown), std::string::npos) << outcome.output;
    }
    for (const auto& hidden : page.hides)
      EXPECT_EQ(outcome.output.find(hidden), std::string::npos) << outcome.output;
  }
}

TEST(WebFetchToolTest, OnlyHTTPSLeavesThisComputer) {
  struct Case {
    std::string url;
    Code code;
  };
  const std::vector<Case> cases{{"http://example.com/", Code::kPlainHTTP},
                                {"ftp://example.com/file", Code::kUnsupportedURL},
                                {"file:///etc/passwd", Code::kUnsupportedURL},
                                {"", Code::kMissingURL}};
  const auto transport = std::make_shared<platform::CurlHTTPTransport>();
  WebFetchTool tool(transport,
                    [](std::string_view) -> WebHostScope { throw std::logic_error("not reached"); });
  for (const auto& test : cases) {
    ai::AIToolCallUpdate update;
    const auto outcome = tool.run(core::JSONValue::Object{{"url", test.url}}, {}, update);
    ASSERT_TRUE(outcome.failureReason.has_value()) << test.url;
    EXPECT_TRUE(outcome.failureReason->starts_with(WebFetchError::text(test.code))) << test.url;
  }
}

TEST(WebFetchToolTest, AddressScopes) {
  struct Case {
    std::string_view address;
    std::optional<WebHostScope> scope;
  };
  const std::vector<Case> cases{
      {"93.184.216.34", WebHostScope::kPublic},
      {"127.0.0.2", WebHostScope::kPrivate},
      {"10.1.2.3", WebHostScope::kPrivate},
      {"172.20.0.1", WebHostScope::kPrivate},
      {"172.32.0.1", WebHostScope::kPublic},
      {"192.168.1.1", WebHostScope::kPrivate},
      {"169.254.169.254", WebHostScope::kPrivate},
      {"0.0.0.0", WebHostScope::kPrivate},
      {"::1", WebHostScope::kPrivate},
      {"fe80::1", WebHostScope::kPrivate},
      {"fd00::1", WebHostScope::kPrivate},
      {"::ffff:127.0.0.1", WebHostScope::kPrivate},
      {"2606:4700::1111", WebHostScope::kPublic},
      {"example.com", std::nullopt},
  };
  for (const auto& test : cases) EXPECT_EQ(webAddressScope(test.address), test.scope) << test.address;
  EXPECT_EQ(resolvedWebHostScope("localhost"), WebHostScope::kPrivate);
}

}  // namespace
}  // namespace zephyl::assistant
