#include "platform/testing/fake_authorization_server.h"

#include <algorithm>
#include <map>

#include "ai/oauth_encoding.h"
#include "ai/oauth_pkce.h"
#include "core/json_value.h"

namespace zephyl::platform::testing {
namespace {

constexpr const char* kIssuedCode = "code-from-the-fake-issuer";
constexpr const char* kIssuedDeviceCode = "device-code-from-the-fake-issuer";

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
  if (request.target == "/oauth/device/code") {
    const std::string body = R"({"device_code":")" + std::string(kIssuedDeviceCode) + R"(","user_code":")" +
                             kUserCode + R"(","verification_uri":")" + server_.url("/device") +
                             R"(","expires_in":)" + std::to_string(deviceExpiresIn_) + R"(,"interval":1})";
    respond(connection, 200, body);
    return;
  }
  if (request.target == "/oauth/token") {
    const Reply reply = answerTokenRequest(request);
    respond(connection, reply.status, reply.body);
    return;
  }
  respond(connection, 404, "{}");
}

FakeAuthorizationServer::Reply FakeAuthorizationServer::answerTokenRequest(const LoopbackRequest& request) {
  ++tokenRequests_;
  lastTokenRequest_ = request.body;
  std::map<std::string, std::string> form;
  if (request.body.starts_with("{")) {  // the ChatGPT issuer's refresh is JSON
    const core::JSONValue body = core::JSONValue::parse(request.body);
    for (const auto& [key, value] : *body.object()) {
      if (value.string() != nullptr) form[key] = *value.string();
    }
  } else {
    form = ai::parseQuery(request.body);
  }
  const std::string grant = form["grant_type"];
  if (grant == "refresh_token") {
    ++refreshRequests_;
    if (!refreshToken_.empty() && form["refresh_token"] == refreshToken_) return refreshReply_;
    return {400, kInvalidGrant};
  }
  if (grant == "urn:ietf:params:oauth:grant-type:device_code") {
    pollTimes_.push_back(std::chrono::steady_clock::now());
    if (form["device_code"] != kIssuedDeviceCode || devicePolls_.empty()) return {400, kInvalidGrant};
    return devicePolls_[std::min(pollTimes_.size(), devicePolls_.size()) - 1];
  }
  const bool valid = grant == "authorization_code" && form["code"] == kIssuedCode &&
                     ai::pkceS256Challenge(form["code_verifier"]) == challenge_ &&
                     form["redirect_uri"].ends_with("/auth/callback");
  return valid ? Reply{tokenStatus_, tokenReply_} : Reply{400, kInvalidGrant};
}

void FakeAuthorizationServer::acceptRefresh(std::string refreshToken, Reply reply) {
  std::lock_guard lock(mutex_);
  refreshToken_ = std::move(refreshToken);
  refreshReply_ = std::move(reply);
}

int FakeAuthorizationServer::refreshRequests() const {
  std::lock_guard lock(mutex_);
  return refreshRequests_;
}

void FakeAuthorizationServer::scriptDevicePolls(std::vector<Reply> polls, int expiresIn) {
  std::lock_guard lock(mutex_);
  devicePolls_ = std::move(polls);
  deviceExpiresIn_ = expiresIn;
  pollTimes_.clear();
}

std::vector<std::chrono::steady_clock::time_point> FakeAuthorizationServer::pollTimes() const {
  std::lock_guard lock(mutex_);
  return pollTimes_;
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
