// An ACP registry and its archives served over HTTPS on 127.0.0.1, with a
// certificate made for the test: code that insists on https and on trusted
// hosts is tested for real. Test use only.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/testing/loopback_http_server.h"

namespace zephyl::agents::testing {

struct FakeRegistryBinary {
  std::string platformKey = "linux-x86_64";
  std::string archiveURL{};
  std::string command = "./bin/agent";
  std::vector<std::string> arguments{"--acp"};
  std::optional<std::string> sha256{};
};

class FakeAgentRegistry {
 public:
  FakeAgentRegistry();

  // An https URL of this server.
  std::string url(std::string_view path) const;
  // The certificate that clients must trust, in PEM.
  const std::string& certificatePEM() const { return identity_.certificatePEM; }

  // Answers GET `path` with 200 and `body` from now on; other paths get 404.
  void serve(const std::string& path, std::string body);
  // Serves a registry document at the registry path listing `agentID` at `version`.
  void serveRegistry(const std::string& agentID, const std::string& version,
                     const std::vector<FakeRegistryBinary>& binaries);

  // The paths asked for so far, in order.
  std::vector<std::string> requestedPaths() const;

 private:
  platform::testing::LoopbackTLSIdentity identity_;
  mutable std::mutex mutex_;  // guards bodies_ and requested_
  std::map<std::string, std::string> bodies_;
  std::vector<std::string> requested_;
  std::unique_ptr<platform::testing::LoopbackHTTPServer> server_;
};

}  // namespace zephyl::agents::testing
