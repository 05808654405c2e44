#include "platform/testing/fake_authorization_server.h"

#include "ai/oauth_encoding.h"
#include "ai/oauth_pkce.h"

namespace zephyl::platform::testing {
namespace {

constexpr const char* kIssuedCode = "code-from-the-fake-issuer";

void respond(LoopbackConnection& connection, int status, const std::string& body,
             const std::string& extraHeaders = "") {
  connection.write("HTTP/1.1 " + std::to_string(status) + " X\r\nContent-Type: application/json\r\n" +
                   extraHeaders + "Content-Length: " + std::to_string(body.size()) +
                   "\r\nConnection: close\r\n\r\n" + body);
}

std::string queryOf(const std::string& target) {
  const size_t question = target.find('?');
  return question == std::string::npos ? std::string() : target.substr(question + 1);
}

class Collector : public ai::HTTPResponseHandler {
 public:
  void onResponse(const ai::HTTPResponseHead& response) override { head = response; }
  void onBody(std::string_view) override {}
  ai::HTTPResponseHead head;
};

ai::HTTPResponseHead get(ai::HTTPTransport& transport, const std::string& url) {
  ai::HTTPRequest request;
  request.method = "GET";
  request.url = url;
  request.totalTimeout = std::chrono::seconds(10);
  Collector collector;
  transport.send(request, collector, {});
  return collector.head;
}

}  // namespace

FakeAuthorizationServer::FakeAuthorizationServer(std::string tokenReply)
    : tokenReply_(std::move(tokenReply)),
      server_([this](const LoopbackRequest& request, LoopbackConnection& connection,
                     int) { handle(request, connection); },
              64) {}

void FakeAuthorizationServer::handle(const LoopbackRequest& request, LoopbackConnection& connection) {
  std::lock_guard lock(mutex_);
  if (request.target.starts_with("/oauth/authorize")) {
    auto query = ai::parseQuery(queryOf(request.target));
    challenge_ = query["code_challenge"];
    const std::string location =
        query["redirect_uri"] + "?" + ai::formEncode({{"code", kIssuedCode}, {"state", query["state"]}});
    respond(connection, 302, "", "Location: " + location + "\r\n");
    return;
  }
  if (request.target == "/oauth/token") {
    ++tokenRequests_;
    lastTokenRequest_ = request.body;
    auto form = ai::parseQuery(request.body);
    const bool valid = form["grant_type"] == "authorization_code" && form["code"] == kIssuedCode &&
                       ai::pkceS256Challenge(form["code_verifier"]) == challenge_ &&
                       form["redirect_uri"].ends_with("/auth/callback");
    respond(connection, valid ? tokenStatus_ : 400, valid ? tokenReply_ : kInvalidGrant);
    return;
  }
  respond(connection, 404, "{}");
}

void FakeAuthorizationServer::setTokenReply(int status, std::string body) {
  std::lock_guard lock(mutex_);
  tokenStatus_ = status;
  tokenReply_ = std::move(body);
}

std::string FakeAuthorizationServer::lastTokenRequest() const {
  std::lock_guard lock(mutex_);
  return lastTokenRequest_;
}

int FakeAuthorizationServer::tokenRequests() const {
  std::lock_guard lock(mutex_);
  return tokenRequests_;
}

long followAuthorizationInBrowser(ai::HTTPTransport& transport, const std::string& authorizeURL,
                                  const std::optional<std::string>& stateOverride) {
  const ai::HTTPResponseHead redirect = get(transport, authorizeURL);
  std::string callback = redirect.header("Location").value_or("");
  if (stateOverride) {
    auto query = ai::parseQuery(queryOf(callback));
    callback = callback.substr(0, callback.find('?')) + "?" +
               ai::formEncode({{"code", query["code"]}, {"state", *stateOverride}});
  }
  return get(transport, callback).status;
}

}  // namespace zephyl::platform::testing
