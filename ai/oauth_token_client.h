// OAuthTokenClient: the POSTs of account sign-in (token, refresh, device code)
// over the platform's HTTP transport. It only carries requests; the flows and
// the coordinator decide what an answer means.
#pragma once

#include <chrono>
#include <stop_token>
#include <string>

#include "ai/http_transport.h"
#include "core/json_value.h"

namespace zephyl::ai {

struct OAuthReply {
  long status = 0;
  core::JSONValue body;  // null when the body was empty
};

class OAuthTokenClient {
 public:
  // `transport` must outlive the client.
  explicit OAuthTokenClient(HTTPTransport& transport,
                            std::chrono::milliseconds timeout = std::chrono::seconds(30));

  // POSTs `body` with `contentType` and returns the reply of any status.
  // Throws OAuthError(kInsecureEndpoint) before sending anything to a URL that
  // may not carry credentials, OAuthError(kInvalidResponse) for a body that is
  // not JSON, HTTPTransportError, and core::CancellationError.
  OAuthReply post(const std::string& url, const std::string& contentType, const std::string& body,
                  std::stop_token stop);

 private:
  HTTPTransport& transport_;
  std::chrono::milliseconds timeout_;
};

// The OAuth error code of a refused reply: "error" as text (RFC 6749), or the
// "code" (else "type") of an "error" object; empty when there is none.
std::string oauthErrorCode(const core::JSONValue& body);

}  // namespace zephyl::ai
