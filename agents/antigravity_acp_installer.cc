#include "agents/antigravity_acp_installer.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "agents/antigravity_acp_installer_error.h"
#include "agents/antigravity_acp_publisher_check.h"
#include "agents/internal/contained_path.h"
#include "agents/internal/https_url.h"
#include "agents/internal/sha256.h"
#include "core/ascii_lowercase.h"
#include "core/json_value.h"
#include "core/logger.h"
#include "core/utf8.h"

namespace zephyl::agents {
namespace {

namespace fs = std::filesystem;
using Code = AntigravityACPInstallerError::Code;
using namespace std::chrono_literals;

constexpr core::Logger kLog("AntigravityACPInstaller");

constexpr size_t kMaximumRegistryBytes = 16 << 20;
constexpr std::string_view kStagingMarker = ".staging-";
constexpr std::string_view kDownloadMarker = ".download-";

// Thrown by the download handlers to abandon a transfer.
struct TransferRefused {
  std::string reason;
};

bool isSuccess(long status) { return status >= 200 && status < 300; }

ai::HTTPRequest getRequest(const std::string& url) {
  ai::HTTPRequest request;
  request.method = "GET";
  request.url = url;
  request.connectTimeout = 15s;
  request.idleTimeout = 60s;
  return request;
}

class RegistryBody : public ai::HTTPResponseHandler {
 public:
  void onResponse(const ai::HTTPResponseHead& head) override { status = head.status; }
  void onBody(std::string_view bytes) override {
    if (body.size() + bytes.size() > kMaximumRegistryBytes)
      throw TransferRefused{"registry document too large"};
    body += bytes;
  }
  long status = 0;
  std::string body;
};

// Streams the archive into an open file, hashing as it goes.
class ArchiveDownload : public ai::HTTPResponseHandler {
 public:
  ArchiveDownload(int file, uint64_t maximumBytes, const AntigravityACPInstaller::Progress& progress)
      : file_(file), maximumBytes_(maximumBytes), progress_(progress) {}

  void onResponse(const ai::HTTPResponseHead& head) override {
    status = head.status;
    if (const auto length = head.header("Content-Length")) {
      try {
        total_ = std::stoull(*length);
      } catch (const std::exception&) {
        total_.reset();
      }
    }
    if (total_ && *total_ > maximumBytes_) throw TransferRefused{"archive larger than allowed"};
  }

  void onBody(std::string_view bytes) override {
    if (!isSuccess(status)) return;
    received += bytes.size();
    if (received > maximumBytes_) throw TransferRefused{"archive larger than allowed"};
    hash_.update(bytes);
    while (!bytes.empty()) {
      const ssize_t written = ::write(file_, bytes.data(), bytes.size());
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) throw TransferRefused{std::string("writing the archive: ") + std::strerror(errno)};
      bytes.remove_prefix(static_cast<size_t>(written));
    }
    if (progress_) progress_(received, total_);
  }

  std::string digest() { return hash_.finishHex(); }

  long status = 0;
  uint64_t received = 0;

 private:
  int file_;
  uint64_t maximumBytes_;
  const AntigravityACPInstaller::Progress& progress_;
  std::optional<uint64_t> total_;
  internal::SHA256 hash_;
};

// Sends `request`, turning every way it can fail except cancellation into downloadFailed.
void fetch(ai::HTTPTransport& transport, const ai::HTTPRequest& request, ai::HTTPResponseHandler& handler,
           const long& status, std::stop_token stop) {
  try {
    transport.send(request, handler, stop);
  } catch (const ai::HTTPTransportError& error) {
    kLog.error() << "Download failed: " << error.description();
    throw AntigravityACPInstallerError(Code::kDownloadFailed);
  } catch (const TransferRefused& refused) {
    kLog.error() << "Download refused: " << refused.reason;
    throw AntigravityACPInstallerError(Code::kDownloadFailed);
  }
  if (!isSuccess(status)) {
    kLog.error() << "Download failed status=" << status;
    throw AntigravityACPInstallerError(Code::kDownloadFailed);
  }
}

// Holds an exclusive lock on a file for its lifetime (flock: released by the
// kernel if the process dies).
class InstallLock {
 public:
  explicit InstallLock(const std::string& path)
      : file_(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
    if (file_ < 0 || ::flock(file_, LOCK_EX) != 0) {
      kLog.error() << "Could not lock " << path << ": " << std::strerror(errno);
      if (file_ >= 0) ::close(file_);
      throw AntigravityACPInstallerError(Code::kExtractionFailed);
    }
  }
  ~InstallLock() { ::close(file_); }
  InstallLock(const InstallLock&) = delete;
  InstallLock& operator=(const InstallLock&) = delete;

 private:
  int file_;
};

// Removes what it holds when the install ends, whichever way.
struct Leftovers {
  std::vector<std::string> paths;
  ~Leftovers() {
    for (const std::string& path : paths) {
      std::error_code ignored;
      fs::remove_all(path, ignored);
    }
  }
};

// Folders and downloads left by an install that was killed halfway.
void removeStaleLeftovers(const fs::path& installDirectory) {
  const std::string prefix = installDirectory.filename().string();
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(installDirectory.parent_path(), error)) {
    const std::string name = entry.path().filename().string();
    if (name.starts_with(prefix + std::string(kStagingMarker)) ||
        name.starts_with(prefix + std::string(kDownloadMarker))) {
      std::error_code ignored;
      fs::remove_all(entry.path(), ignored);
    }
  }
}

void syncFolder(const fs::path& folder) {
  const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  ::fsync(descriptor);
  ::close(descriptor);
}

// Puts `staging` in place of `installDirectory` in one step; the previous
// install, if any, ends up at `staging` for the caller to remove.
void swapIntoPlace(const fs::path& staging, const fs::path& installDirectory) {
  int result = ::renameat2(AT_FDCWD, staging.c_str(), AT_FDCWD, installDirectory.c_str(), RENAME_EXCHANGE);
  if (result != 0 && errno == ENOENT) result = ::rename(staging.c_str(), installDirectory.c_str());
  if (result != 0) {
    kLog.error() << "Could not move the new install into place: " << std::strerror(errno);
    throw AntigravityACPInstallerError(Code::kExtractionFailed);
  }
  syncFolder(installDirectory.parent_path());
}

// The command's path inside `root`, when it names an executable file there.
std::optional<std::string> checkedCommand(const fs::path& root, const std::string& command) {
  const std::optional<std::string> relative = internal::containedRelativePath(command);
  if (!relative) return std::nullopt;
  std::error_code error;
  const fs::file_status status = fs::status(root / *relative, error);
  if (error || !fs::is_regular_file(status) ||
      (status.permissions() & fs::perms::owner_exec) == fs::perms::none) {
    return std::nullopt;
  }
  return relative;
}

}  // namespace

std::string antigravityACPInstallDirectory(const std::string& dataDirectory) {
  return dataDirectory + "/agents/antigravity";
}

std::string acpRegistryDocumentURL(std::string_view registry) {
  const std::string_view withoutQuery = registry.substr(0, registry.find_first_of("?#"));
  if (withoutQuery.ends_with(".json")) return std::string(registry);
  std::string base(registry);
  while (base.ends_with('/')) base.pop_back();
  return base + std::string(kACPRegistryPath);
}

std::vector<std::string> loopbackArchiveHosts(std::string_view list) {
  std::vector<std::string> hosts;
  while (!list.empty()) {
    const size_t comma = std::min(list.find(','), list.size());
    std::string host = core::asciiLowercase(core::trimWhiteSpace(list.substr(0, comma)));
    if (internal::isLoopbackHost(host)) hosts.push_back(std::move(host));
    list.remove_prefix(std::min(comma + 1, list.size()));
  }
  return hosts;
}

AntigravityACPInstaller::AntigravityACPInstaller(ai::HTTPTransport& transport, core::FileSystem& files,
                                                 AntigravityACPInstallerConfiguration configuration)
    : transport_(transport), files_(files), configuration_(std::move(configuration)) {}

std::optional<AntigravityACPInstallation> AntigravityACPInstaller::installation() const {
  return readAntigravityACPInstallation(files_, configuration_.installDirectory);
}

std::string AntigravityACPInstaller::pinFile() const {
  return configuration_.installDirectory + ".pins.json";
}

AntigravityACPInstallResult AntigravityACPInstaller::install(const Progress& progress, std::stop_token stop) {
  if (!internal::httpsURLHost(configuration_.registryURL)) {
    kLog.error() << "Registry address is not an https URL";
    throw AntigravityACPInstallerError(Code::kUntrustedArchiveURL);
  }
  const fs::path installDirectory = fs::path(configuration_.installDirectory).lexically_normal();
  std::error_code error;
  fs::create_directories(installDirectory.parent_path(), error);
  if (error) {
    kLog.error() << "Could not create the agents folder: " << error.message();
    throw AntigravityACPInstallerError(Code::kExtractionFailed);
  }
  InstallLock lock(installDirectory.string() + ".lock");
  removeStaleLeftovers(installDirectory);

  RegistryBody registry;
  fetch(transport_, getRequest(configuration_.registryURL), registry, registry.status, stop);
  core::JSONValue document;
  try {
    document = core::JSONValue::parse(registry.body);
  } catch (const core::JSONValueError& parseError) {
    kLog.error() << "Registry document unreadable: " << parseError.description();
    throw AntigravityACPInstallerError(Code::kAgentNotListed);
  }
  const AntigravityACPDistribution distribution =
      chooseAntigravityACPDistribution(document, kAntigravityACPAgentID, configuration_.platformKey);

  const std::optional<std::string> archiveHost = internal::httpsURLHost(distribution.archiveURL);
  const auto& allowed = configuration_.allowedArchiveHosts;
  if (!archiveHost || std::find(allowed.begin(), allowed.end(), *archiveHost) == allowed.end()) {
    kLog.error() << "Refused archive location " << distribution.archiveURL;
    throw AntigravityACPInstallerError(Code::kUntrustedArchiveURL);
  }

  const std::optional<AntigravityACPInstallation> previous = installation();
  if (previous && previous->version == distribution.version &&
      checkedCommand(installDirectory, previous->command)) {
    return {AntigravityACPInstallOutcome::kUpToDate, *previous};
  }

  kLog.info() << "Installing Antigravity ACP version=" << distribution.version;
  Leftovers leftovers;
  std::string archivePath = installDirectory.string() + std::string(kDownloadMarker) + "XXXXXX";
  const int archiveFile = ::mkostemp(archivePath.data(), O_CLOEXEC);
  if (archiveFile < 0) {
    kLog.error() << "Could not create the download file: " << std::strerror(errno);
    throw AntigravityACPInstallerError(Code::kDownloadFailed);
  }
  leftovers.paths.push_back(archivePath);
  std::string digest;
  {
    struct CloseFile {
      int file;
      ~CloseFile() { ::close(file); }
    } closeArchive{archiveFile};
    ArchiveDownload download(archiveFile, configuration_.maximumDownloadBytes, progress);
    fetch(transport_, getRequest(distribution.archiveURL), download, download.status, stop);
    digest = download.digest();
  }
  kLog.info() << "Downloaded archive sha256=" << digest;
  AntigravityACPPublisherCheck publisher(files_, pinFile());
  publisher.verify(distribution, digest);

  std::string staging = installDirectory.string() + std::string(kStagingMarker) + "XXXXXX";
  if (::mkdtemp(staging.data()) == nullptr) {
    kLog.error() << "Could not create the staging folder: " << std::strerror(errno);
    throw AntigravityACPInstallerError(Code::kExtractionFailed);
  }
  leftovers.paths.push_back(staging);
  try {
    extractAgentArchive(archivePath, staging, configuration_.archiveLimits);
  } catch (const AgentArchiveError& archiveError) {
    kLog.error() << "Extraction failed: " << archiveError.description() << " (" << archiveError.detail()
                 << ")";
    throw AntigravityACPInstallerError(Code::kExtractionFailed);
  }
  if (stop.stop_requested()) throw core::CancellationError();

  const std::optional<std::string> command = checkedCommand(staging, distribution.command);
  if (!command) {
    kLog.error() << "Command is not an executable in the download: " << distribution.command;
    throw AntigravityACPInstallerError(Code::kInvalidCommand);
  }
  AntigravityACPInstallation installed{distribution.version, *command, distribution.arguments,
                                       installDirectory.string()};
  try {
    files_.writeFileAtomically(staging + "/" + std::string(kAntigravityACPInstallRecordName),
                               antigravityACPInstallRecordJSON(installed));
    publisher.pin(distribution.version, digest);
  } catch (const core::Error& writeError) {
    kLog.error() << "Could not record the install: " << writeError.description();
    throw AntigravityACPInstallerError(Code::kExtractionFailed);
  }
  swapIntoPlace(staging, installDirectory);

  kLog.info() << "Installed Antigravity ACP version=" << distribution.version;
  if (configuration_.postNotification)
    configuration_.postNotification(kAntigravityInstallationDidChangeNotification);
  return {previous ? AntigravityACPInstallOutcome::kUpdated : AntigravityACPInstallOutcome::kInstalled,
          std::move(installed)};
}

}  // namespace zephyl::agents
