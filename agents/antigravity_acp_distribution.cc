#include "agents/antigravity_acp_distribution.h"

#include "agents/antigravity_acp_installer_error.h"
#include "core/logger.h"

namespace zephyl::agents {
namespace {

using Code = AntigravityACPInstallerError::Code;

constexpr core::Logger kLog("AntigravityACPInstaller");

const std::string* stringMember(const core::JSONValue& object, std::string_view key) {
  const core::JSONValue* value = object.find(key);
  return value != nullptr ? value->string() : nullptr;
}

const core::JSONValue* findAgent(const core::JSONValue& registry, std::string_view agentID) {
  const core::JSONValue* agents = registry.find("agents");
  if (agents == nullptr || agents->array() == nullptr) return nullptr;
  for (const core::JSONValue& agent : *agents->array()) {
    const std::string* id = stringMember(agent, "id");
    if (id != nullptr && *id == agentID) return &agent;
  }
  return nullptr;
}

}  // namespace

std::string_view currentACPPlatformKey() {
#if defined(__x86_64__)
  return "linux-x86_64";
#elif defined(__aarch64__)
  return "linux-aarch64";
#else
  return "";
#endif
}

AntigravityACPDistribution chooseAntigravityACPDistribution(const core::JSONValue& registry,
                                                            std::string_view agentID,
                                                            std::string_view platformKey) {
  const core::JSONValue* agent = findAgent(registry, agentID);
  const std::string* version = agent != nullptr ? stringMember(*agent, "version") : nullptr;
  if (version == nullptr) throw AntigravityACPInstallerError(Code::kAgentNotListed);

  const core::JSONValue* distribution = agent->find("distribution");
  const core::JSONValue* binaries = distribution != nullptr ? distribution->find("binary") : nullptr;
  const core::JSONValue* entry =
      binaries != nullptr && !platformKey.empty() ? binaries->find(platformKey) : nullptr;
  if (entry == nullptr) throw AntigravityACPInstallerError(Code::kUnsupportedPlatform);

  const std::string* archive = stringMember(*entry, "archive");
  const std::string* command = stringMember(*entry, "cmd");
  if (archive == nullptr || command == nullptr) {
    kLog.error() << "Registry entry for " << platformKey << " lacks archive or cmd";
    throw AntigravityACPInstallerError(Code::kUnsupportedPlatform);
  }
  AntigravityACPDistribution result{*version, *archive, *command, {}, std::nullopt};
  if (const core::JSONValue* arguments = entry->find("args"); arguments != nullptr && arguments->array()) {
    for (const core::JSONValue& argument : *arguments->array()) {
      if (argument.string() == nullptr) {
        kLog.error() << "Registry entry for " << platformKey << " has an argument that is not a string";
        throw AntigravityACPInstallerError(Code::kUnsupportedPlatform);
      }
      result.arguments.push_back(*argument.string());
    }
  }
  if (const std::string* digest = stringMember(*entry, "sha256")) result.archiveSHA256 = *digest;
  return result;
}

}  // namespace zephyl::agents
