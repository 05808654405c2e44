#include "agents/antigravity_acp_publisher_check.h"

#include "agents/antigravity_acp_installer_error.h"
#include "core/ascii_lowercase.h"
#include "core/json_value.h"
#include "core/logger.h"

namespace zephyl::agents {
namespace {

constexpr core::Logger kLog("AntigravityACPInstaller");

[[noreturn]] void reject(const std::string& why) {
  kLog.error() << "Rejected Antigravity ACP download with an untrusted signature";
  kLog.info() << "Publisher check: " << why;
  throw AntigravityACPInstallerError(AntigravityACPInstallerError::Code::kUntrustedSignature);
}

core::JSONValue readPins(core::FileSystem& files, const std::string& path) {
  const std::optional<std::string> text = files.readFile(path);
  if (!text) return core::JSONValue::Object{};
  core::JSONValue pins = core::JSONValue::parse(*text);
  if (pins.object() == nullptr)
    throw core::JSONValueError(core::JSONValueError::Code::kMalformedJSON, "not an object");
  return pins;
}

}  // namespace

std::optional<std::string> AntigravityACPPublisherCheck::pinnedDigest(const std::string& version) const {
  const core::JSONValue pins = readPins(files_, pinFile_);
  const core::JSONValue* digest = pins.find(version);
  if (digest == nullptr) return std::nullopt;
  if (digest->string() == nullptr) {
    throw core::JSONValueError(core::JSONValueError::Code::kMalformedJSON, "pin is not a string");
  }
  return *digest->string();
}

void AntigravityACPPublisherCheck::verify(const AntigravityACPDistribution& distribution,
                                          const std::string& archiveSHA256) const {
  if (distribution.archiveSHA256 && core::asciiLowercase(*distribution.archiveSHA256) != archiveSHA256) {
    reject("digest differs from the registry's for version " + distribution.version);
  }
  std::optional<std::string> pinned;
  try {
    pinned = pinnedDigest(distribution.version);
  } catch (const core::Error& error) {
    reject("pins unreadable: " + error.description());
  }
  if (pinned && *pinned != archiveSHA256)
    reject("digest differs from the pin of version " + distribution.version);
}

void AntigravityACPPublisherCheck::pin(const std::string& version, const std::string& archiveSHA256) {
  core::JSONValue pins = readPins(files_, pinFile_);
  if (pins.find(version) != nullptr) return;
  pins.set(version, archiveSHA256);
  files_.writeFileAtomically(pinFile_, pins.serialized());
}

}  // namespace zephyl::agents
