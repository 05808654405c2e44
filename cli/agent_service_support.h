// What the commands that talk to ACP agents share: the agent server for
// Antigravity or a custom agent from the setting "customACPAgents", launched
// through the Linux launcher with its processes recorded for `zephyl agent
// stop`, and whether Antigravity can be used.
#pragma once

#include <string>
#include <string_view>

#include "agents/antigravity_acp_server.h"
#include "ai/ai_provider_availability.h"
#include "cli/agent_process_records.h"
#include "cli/cli_context.h"
#include "platform/linux/posix_spawn_child_process.h"

namespace zephyl::cli {

// The server's settings for Antigravity (`name` empty) or the custom agent
// `name`. Throws CliUsageError for a name the setting does not hold.
agents::AntigravityACPServerConfiguration agentServerConfiguration(CliContext& context,
                                                                   const std::string& name);

// The custom agent a model id names ("acp:NAME" gives NAME); empty for Antigravity's models.
std::string customAgentName(std::string_view modelID);

// One agent server and what it launches through.
class CliAgentServer {
 public:
  // Throws CliUsageError for an unknown custom agent.
  CliAgentServer(CliContext& context, const std::string& name);
  agents::AntigravityACPServer& server() { return server_; }

 private:
  platform::PosixSpawnChildProcessLauncher spawn_;
  AgentProcessRecords records_;
  RecordingChildProcessLauncher launcher_{spawn_, records_};
  ai::SteadyMonotonicClock clock_;
  agents::AntigravityACPServer server_;
};

// Antigravity's install record and sign-in file, for provider availability.
class CliAgentAvailability : public ai::AgentCLIAvailability {
 public:
  explicit CliAgentAvailability(CliContext& context) : context_(context) {}
  bool isInstalled() override;
  bool isSignedIn() override;

 private:
  CliContext& context_;
};

}  // namespace zephyl::cli
