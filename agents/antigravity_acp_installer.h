// Installs or updates the Antigravity agent from the ACP registry: fetch the
// registry document, pick this machine's build, check where it comes from,
// download it, check its digest (AntigravityACPPublisherCheck), unpack it into
// a staging folder beside the install folder, check its command, and only then
// put it in place of the previous install in one rename. Any failure leaves the
// previous install as it was.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "agents/agent_archive_extractor.h"
#include "agents/antigravity_acp_distribution.h"
#include "agents/antigravity_acp_installation.h"
#include "ai/http_transport.h"
#include "core/file_system.h"

namespace zephyl::agents {

// The public ACP registry service, and the one host its Antigravity builds may
// be downloaded from.
inline constexpr std::string_view kACPRegistryBaseURL = "https://cdn.agentclientprotocol.com";
inline constexpr std::string_view kAntigravityDownloadHost = "dl.google.com";
inline constexpr std::string_view kAntigravityInstallationDidChangeNotification =
    "com.zephyl.Zephyl.antigravityInstallationDidChange";

// Where the agent is installed under the application's data folder.
std::string antigravityACPInstallDirectory(const std::string& dataDirectory);

// The registry document's URL: `registry` itself when it names a ".json" file,
// else `registry` (a service root) with the registry path appended.
std::string acpRegistryDocumentURL(std::string_view registry);

// The loopback hosts among `list` (comma-separated names, white space
// ignored); every other name is dropped. Tests that serve archives from this
// machine add these to `allowedArchiveHosts`; nothing a registry serves can.
std::vector<std::string> loopbackArchiveHosts(std::string_view list);

struct AntigravityACPInstallerConfiguration {
  std::string registryURL;       // the registry document, https only
  std::string installDirectory;  // replaced as a whole; its parent holds staging folders, lock and pins
  // Where archives may come from. Only Google's host in use; tests add their
  // own loopback server here, never the registry itself.
  std::vector<std::string> allowedArchiveHosts{std::string(kAntigravityDownloadHost)};
  std::string platformKey{currentACPPlatformKey()};
  AgentArchiveLimits archiveLimits;
  uint64_t maximumDownloadBytes = uint64_t{1} << 30;
  // Receives kAntigravityInstallationDidChangeNotification after an install; may be empty.
  std::function<void(std::string_view name)> postNotification;
};

enum class AntigravityACPInstallOutcome { kInstalled, kUpdated, kUpToDate };

struct AntigravityACPInstallResult {
  AntigravityACPInstallOutcome outcome;
  AntigravityACPInstallation installation;
};

class AntigravityACPInstaller {
 public:
  // Called on the installing thread as the archive arrives: bytes so far, and
  // the size when the server gave one. Its first call means a download began.
  using Progress = std::function<void(uint64_t received, std::optional<uint64_t> total)>;

  // `transport` and `files` must outlive the installer.
  AntigravityACPInstaller(ai::HTTPTransport& transport, core::FileSystem& files,
                          AntigravityACPInstallerConfiguration configuration);

  // The current install, read from its record; nullopt when not installed.
  std::optional<AntigravityACPInstallation> installation() const;

  // Installs the registry's current version unless it is installed already.
  // Installs of one folder are serialised across processes by a lock file.
  // Throws AntigravityACPInstallerError, or core::CancellationError once `stop`
  // is requested (nothing is replaced then either).
  AntigravityACPInstallResult install(const Progress& progress, std::stop_token stop);

 private:
  std::string pinFile() const;

  ai::HTTPTransport& transport_;
  core::FileSystem& files_;
  AntigravityACPInstallerConfiguration configuration_;
};

}  // namespace zephyl::agents
