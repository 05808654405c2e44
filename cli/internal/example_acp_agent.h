// The reference TypeScript SDK's example ACP agent, installed from the npm
// registry into the build folder once, for the tests that run a real agent.
// Test use only.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

namespace zephyl::cli::testing {

// Whether node runs here; the tests of the example agent are skipped only without it.
inline bool nodeInstalled() { return std::system("command -v node >/dev/null 2>&1") == 0; }

// The agent's script, installed on first use; empty when npm could not install
// it, which the tests report as a failure: with node present the agent must run.
inline std::filesystem::path exampleACPAgent() {
  const std::filesystem::path folder = std::filesystem::path(ZEPHYL_BUILD_DIR) / "acp-example-agent";
  const auto agent = folder / "node_modules/@agentclientprotocol/sdk/dist/examples/agent.js";
  if (std::filesystem::exists(agent)) return agent;
  std::filesystem::create_directories(folder);
  // One install at a time: tests of two binaries may ask at once (ctest -j).
  const std::string install = "flock '" + folder.string() + "/.install-lock' sh -c \"[ -f '" +
                              agent.string() +
                              "' ] || npm install --silent --save-exact --no-audit --no-fund --prefix '" +
                              folder.string() + "' @agentclientprotocol/sdk@1.9.0 zod@4\" >/dev/null 2>&1";
  if (std::system(install.c_str()) != 0 || !std::filesystem::exists(agent)) return {};
  return agent;
}

}  // namespace zephyl::cli::testing
