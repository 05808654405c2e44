// LoopbackCallbackReceiver: the small HTTP server on 127.0.0.1 that receives
// the browser's redirect at the end of an account sign-in. It serves one GET
// at a time, reads only the request line and head, and never keeps a
// connection open.
#pragma once

#include <memory>
#include <vector>

#include "ai/oauth_authorization_code_flow.h"

namespace zephyl::platform {

class LoopbackCallbackReceiver : public ai::OAuthCallbackReceiver {
 public:
  // Listens on the first of `ports` that is free (0: any free port). Throws
  // ai::OAuthError(kCallbackPortBusy) naming the ports when none is.
  static std::unique_ptr<LoopbackCallbackReceiver> listen(const std::vector<int>& ports);
  ~LoopbackCallbackReceiver() override;

  int port() const override { return port_; }
  std::optional<std::string> awaitCallback(std::string_view path, std::chrono::milliseconds timeout,
                                           std::stop_token stop) override;

 private:
  LoopbackCallbackReceiver(int listener, int port) : listener_(listener), port_(port) {}

  int listener_;
  int port_;
};

}  // namespace zephyl::platform
