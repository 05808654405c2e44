#include "agents/testing/fake_agent_registry.h"

#include "agents/antigravity_acp_distribution.h"
#include "core/json_value.h"

namespace zephyl::agents::testing {

using platform::testing::LoopbackConnection;
using platform::testing::LoopbackRequest;

FakeAgentRegistry::FakeAgentRegistry() : identity_(platform::testing::makeLoopbackTLSIdentity()) {
  server_ = std::make_unique<platform::testing::LoopbackHTTPServer>(
      [this](const LoopbackRequest& request, LoopbackConnection& connection, int) {
        std::optional<std::string> body;
        {
          std::lock_guard lock(mutex_);
          requested_.push_back(request.target);
          if (const auto it = bodies_.find(request.target); it != bodies_.end()) body = it->second;
        }
        if (!body) {
          connection.write("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
          return;
        }
        connection.write("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body->size()) +
                         "\r\nConnection: close\r\n\r\n");
        connection.write(*body);
      },
      1000, identity_);
}

std::string FakeAgentRegistry::url(std::string_view path) const { return server_->url(path); }

void FakeAgentRegistry::serve(const std::string& path, std::string body) {
  std::lock_guard lock(mutex_);
  bodies_[path] = std::move(body);
}

void FakeAgentRegistry::serveRegistry(const std::string& agentID, const std::string& version,
                                      const std::vector<FakeRegistryBinary>& binaries) {
  core::JSONValue::Object binaryMap;
  for (const FakeRegistryBinary& binary : binaries) {
    core::JSONValue::Object entry{
        {"archive", binary.archiveURL},
        {"cmd", binary.command},
        {"args", core::JSONValue::Array(binary.arguments.begin(), binary.arguments.end())}};
    if (binary.sha256) entry.emplace_back("sha256", *binary.sha256);
    binaryMap.emplace_back(binary.platformKey, std::move(entry));
  }
  const core::JSONValue document = core::JSONValue::Object{
      {"version", "1.0.0"},
      {"agents",
       core::JSONValue::Array{
           core::JSONValue::Object{
               {"id", "some-other-agent"}, {"version", "9.9.9"}, {"distribution", core::JSONValue::Object{}}},
           core::JSONValue::Object{{"id", agentID},
                                   {"name", "Agent"},
                                   {"version", version},
                                   {"distribution", core::JSONValue::Object{{"binary", binaryMap}}}}}}};
  serve(std::string(kACPRegistryPath), document.serialized());
}

std::vector<std::string> FakeAgentRegistry::requestedPaths() const {
  std::lock_guard lock(mutex_);
  return requested_;
}

}  // namespace zephyl::agents::testing
