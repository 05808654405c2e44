// ai::HTTPTransport over libcurl. Each send runs one transfer on a curl multi
// handle of its own, so that a stop request wakes the wait at once
// (curl_multi_wakeup) instead of waiting for curl's progress tick.
#pragma once

#include <string>

#include "ai/http_transport.h"

namespace zephyl::platform {

class CurlHTTPTransport : public ai::HTTPTransport {
 public:
  // Initialises libcurl once per process. `certificateAuthorityFile`, when not
  // empty, is the PEM bundle that server certificates are checked against
  // instead of the system's (as curl's CURL_CA_BUNDLE does).
  explicit CurlHTTPTransport(std::string certificateAuthorityFile = {});

  // The idle time-out is checked between reads, to the millisecond; the total
  // time-out is curl's. Safe to call from several threads at once.
  void send(const ai::HTTPRequest& request, ai::HTTPResponseHandler& handler, std::stop_token stop) override;

 private:
  std::string certificateAuthorityFile_;
};

}  // namespace zephyl::platform
