// The build of the Antigravity agent that the ACP registry offers for this
// machine. The registry document lists agents, each with an "id", a "version"
// and a "distribution" whose "binary" map goes from platform key to an entry
// with "archive" (URL), "cmd", "args" and, where the registry publishes one,
// "sha256" (the archive's digest in hex).
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/json_value.h"

namespace zephyl::agents {

inline constexpr std::string_view kAntigravityACPAgentID = "antigravity-acp";
inline constexpr std::string_view kACPRegistryPath = "/registry/v1/latest/registry.json";

struct AntigravityACPDistribution {
  std::string version;
  std::string archiveURL;
  std::string command;
  std::vector<std::string> arguments;
  std::optional<std::string> archiveSHA256;  // as the registry wrote it
};

// The registry's key for this machine: "linux-x86_64" or "linux-aarch64"; empty
// on a processor the registry has no builds for.
std::string_view currentACPPlatformKey();

// The distribution of agent `agentID` for `platformKey`. Throws
// AntigravityACPInstallerError: kAgentNotListed when the document lists no such
// agent (or cannot be read as a registry), kUnsupportedPlatform when the agent
// has no usable build for the platform.
AntigravityACPDistribution chooseAntigravityACPDistribution(const core::JSONValue& registry,
                                                            std::string_view agentID,
                                                            std::string_view platformKey);

}  // namespace zephyl::agents
