#include "agents/custom_acp_agent.h"

#include "core/logger.h"

namespace zephyl::agents {
namespace {

using core::JSONValue;

constexpr core::Logger kLog("CustomACPAgents");

std::optional<CustomACPAgent> agentFrom(const JSONValue& entry) {
  const JSONValue* name = entry.find("name");
  const JSONValue* command = entry.find("command");
  if (name == nullptr || !name->string() || name->string()->empty() || command == nullptr ||
      !command->string() || command->string()->empty()) {
    return std::nullopt;
  }
  CustomACPAgent agent{*name->string(), *command->string(), {}, {}};
  if (const JSONValue* arguments = entry.find("args"); arguments != nullptr && !arguments->isNull()) {
    if (!arguments->array()) return std::nullopt;
    for (const JSONValue& argument : *arguments->array()) {
      if (!argument.string()) return std::nullopt;
      agent.arguments.push_back(*argument.string());
    }
  }
  if (const JSONValue* environment = entry.find("env"); environment != nullptr && !environment->isNull()) {
    if (!environment->object()) return std::nullopt;
    for (const auto& [key, value] : *environment->object()) {
      if (!value.string()) return std::nullopt;
      agent.environment[key] = *value.string();
    }
  }
  return agent;
}

}  // namespace

std::vector<CustomACPAgent> customACPAgents(core::SettingsStore& settings) {
  std::optional<JSONValue> value = settings.jsonValue(std::string(kCustomACPAgentsKey));
  if (value && value->string()) {
    try {
      value = JSONValue::parse(*value->string());
    } catch (const core::JSONValueError& error) {
      kLog.warning() << "customACPAgents is not JSON: " << error.description();
      return {};
    }
  }
  std::vector<CustomACPAgent> agents;
  if (!value || !value->array()) return agents;
  for (const JSONValue& entry : *value->array()) {
    if (auto agent = agentFrom(entry)) {
      agents.push_back(std::move(*agent));
    } else {
      kLog.warning() << "Skipped a customACPAgents entry without a name and command of the right types";
    }
  }
  return agents;
}

}  // namespace zephyl::agents
