#include "cli/agent_service_support.h"

#include <map>
#include <optional>

#include "agents/antigravity_acp_installation.h"
#include "agents/antigravity_acp_installer.h"
#include "agents/antigravity_acp_sign_in.h"
#include "agents/custom_acp_agent.h"
#include "ai/ai_model_catalog.h"

extern char** environ;

namespace zephyl::cli {
namespace {

// This process's own environment, which the agent inherits (filtered).
std::map<std::string, std::string> systemEnvironment() {
  std::map<std::string, std::string> environment;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const size_t equals = text.find('=');
    if (equals != std::string::npos) environment.emplace(text.substr(0, equals), text.substr(equals + 1));
  }
  return environment;
}

}  // namespace

agents::AntigravityACPServerConfiguration agentServerConfiguration(CliContext& context,
                                                                   const std::string& name) {
  agents::AntigravityACPServerConfiguration configuration;
  const std::string data = context.directories().dataDirectory;
  configuration.workspaceDirectory = data + "/ZephylAntigravityWorkspace";
  configuration.systemEnvironment = systemEnvironment();
  if (name.empty()) {
    configuration.authSettingsPath =
        agents::antigravityACPAuthSettingsPath(context.directories().homeDirectory);
    configuration.installation = [&files = context.fileSystem(),
                                  directory = agents::antigravityACPInstallDirectory(
                                      data)]() -> std::optional<agents::ACPAgentCommand> {
      const auto installation = agents::readAntigravityACPInstallation(files, directory);
      if (!installation) return std::nullopt;
      return agents::ACPAgentCommand{installation->executablePath(), installation->arguments, {}};
    };
    return configuration;
  }
  for (agents::CustomACPAgent& agent : agents::customACPAgents(context.settings())) {
    if (agent.name != name) continue;
    configuration.displayName = agent.name;
    configuration.installation =
        [command = agents::ACPAgentCommand{agent.command, agent.arguments, agent.environment}] {
          return std::optional(command);
        };
    return configuration;
  }
  throw CliUsageError("unknown agent \"" + name + "\"; add it to the setting customACPAgents");
}

std::string customAgentName(std::string_view modelID) {
  if (!modelID.starts_with(ai::kACPAgentModelPrefix)) return {};
  return std::string(modelID.substr(ai::kACPAgentModelPrefix.size()));
}

CliAgentServer::CliAgentServer(CliContext& context, const std::string& name)
    : records_(context.fileSystem(), agentProcessRecordsDirectory(context.directories().dataDirectory)),
      server_(launcher_, clock_, agentServerConfiguration(context, name)) {}

bool CliAgentAvailability::isInstalled() {
  return agents::readAntigravityACPInstallation(
             context_.fileSystem(),
             agents::antigravityACPInstallDirectory(context_.directories().dataDirectory))
      .has_value();
}

bool CliAgentAvailability::isSignedIn() {
  try {
    const auto settings = context_.fileSystem().readFile(
        agents::antigravityACPAuthSettingsPath(context_.directories().homeDirectory));
    return agents::antigravityACPSignInKind(settings).has_value();
  } catch (const core::Error&) {
    return false;  // unreadable means not signed in, as for the agent itself
  }
}

}  // namespace zephyl::cli
