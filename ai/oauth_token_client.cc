#include "ai/oauth_token_client.h"

#include "ai/ai_service_endpoint.h"
#include "ai/oauth_error.h"
#include "core/logger.h"

namespace zephyl::ai {
namespace {

constexpr core::Logger kLog("OAuthTokenClient");
constexpr size_t kMaximumReplyBytes = 256 * 1024;

class ReplyCollector : public HTTPResponseHandler {
 public:
  void onResponse(const HTTPResponseHead& head) override { status = head.status; }
  void onBody(std::string_view bytes) override {
    if (body.size() + bytes.size() > kMaximumReplyBytes) {
      throw OAuthError(OAuthError::Code::kInvalidResponse, "(the reply is too large)");
    }
    body += bytes;
  }
  long status = 0;
  std::string body;
};

}  // namespace

OAuthTokenClient::OAuthTokenClient(HTTPTransport& transport, std::chrono::milliseconds timeout)
    : transport_(transport), timeout_(timeout) {}

OAuthReply OAuthTokenClient::post(const std::string& url, const std::string& contentType,
                                  const std::string& body, std::stop_token stop) {
  if (checkCredentialURL(url) != AIServiceURLCheck::kAllowed)
    throw OAuthError(OAuthError::Code::kInsecureEndpoint, "(" + url + ")");
  HTTPRequest request;
  request.url = url;
  request.headers = {{"Content-Type", contentType}, {"Accept", "application/json"}};
  request.body = body;
  request.connectTimeout = std::min(timeout_, request.connectTimeout);
  request.idleTimeout = timeout_;
  request.totalTimeout = timeout_;
  ReplyCollector collector;
  transport_.send(request, collector, stop);
  kLog.debug() << "POST " << url << " answered " << collector.status;
  OAuthReply reply;
  reply.status = collector.status;
  if (collector.body.find_first_not_of(" \t\r\n") == std::string::npos) return reply;
  try {
    reply.body = core::JSONValue::parse(collector.body);
  } catch (const core::Error&) {
    // The body may hold tokens; only its size is logged.
    kLog.warning() << "Token endpoint sent " << collector.body.size() << " bytes that are not JSON (HTTP "
                   << collector.status << ")";
    throw OAuthError(OAuthError::Code::kInvalidResponse, "(HTTP " + std::to_string(collector.status) + ")");
  }
  return reply;
}

std::string oauthErrorCode(const core::JSONValue& body) {
  const auto* error = body.find("error");
  if (!error) return {};
  if (error->string()) return *error->string();
  for (const char* key : {"code", "type"}) {
    if (const auto* member = error->find(key); member && member->string()) return *member->string();
  }
  return {};
}

}  // namespace zephyl::ai
