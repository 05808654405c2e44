#include "agents/antigravity_acp_installation.h"

#include "core/json_value.h"
#include "core/logger.h"

namespace zephyl::agents {
namespace {

constexpr core::Logger kLog("AntigravityACPInstaller");

}  // namespace

std::string antigravityACPInstallRecordJSON(const AntigravityACPInstallation& installation) {
  core::JSONValue::Array arguments(installation.arguments.begin(), installation.arguments.end());
  return core::JSONValue(core::JSONValue::Object{{"version", installation.version},
                                                 {"command", installation.command},
                                                 {"arguments", std::move(arguments)}})
      .serialized();
}

std::optional<AntigravityACPInstallation> readAntigravityACPInstallation(core::FileSystem& files,
                                                                         const std::string& directory) {
  try {
    const std::optional<std::string> text =
        files.readFile(directory + "/" + std::string(kAntigravityACPInstallRecordName));
    if (!text) return std::nullopt;
    const core::JSONValue record = core::JSONValue::parse(*text);
    const core::JSONValue* version = record.find("version");
    const core::JSONValue* command = record.find("command");
    const core::JSONValue* arguments = record.find("arguments");
    if (version == nullptr || !version->string() || command == nullptr || !command->string() ||
        command->string()->empty()) {
      return std::nullopt;
    }
    AntigravityACPInstallation installation{*version->string(), *command->string(), {}, directory};
    if (arguments != nullptr && arguments->array() != nullptr) {
      for (const core::JSONValue& argument : *arguments->array()) {
        if (!argument.string()) return std::nullopt;
        installation.arguments.push_back(*argument.string());
      }
    }
    return installation;
  } catch (const core::Error& error) {
    kLog.warning() << "Unreadable install record: " << error.description();
    return std::nullopt;
  }
}

}  // namespace zephyl::agents
