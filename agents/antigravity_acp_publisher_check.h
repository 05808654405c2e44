// The check that stands where macOS checks Google's code signature on the
// agent. Linux builds of the agent carry no publisher signature that could be
// verified, so trust rests on where the archive came from and on its digest.
//
// Threat model.
// Trusted: the system's TLS certificate authorities; the ACP registry service
// the first time this machine sees a version; this user's data folder.
// Defended against:
// - A registry entry, mistaken or tampered, that sends the download elsewhere:
//   archives come only over https from the allowed download hosts, and
//   redirects are not followed (the installer checks this before any download).
// - Bytes changed in transit or on the download host after the registry
//   published its digest: the archive's SHA-256 must equal the entry's
//   "sha256" whenever the registry gives one.
// - An archive swapped later for a version already installed once (registry or
//   download host compromised afterwards, a replayed download): the digest of
//   each version is pinned on its first install, and every later install of
//   that version must match the pin.
// - Archives that would write outside their folder: extractAgentArchive.
// Not covered: a registry and download host compromised together before this
// machine first sees a version without a registry digest (there is no
// publisher key to check against); an attacker who can already write to the
// data folder; a registry that offers an older version again.
#pragma once

#include <optional>
#include <string>

#include "agents/antigravity_acp_distribution.h"
#include "core/file_system.h"

namespace zephyl::agents {

class AntigravityACPPublisherCheck {
 public:
  // `pinFile` holds {"<version>": "<sha256 hex>", …}; it outlives installs.
  AntigravityACPPublisherCheck(core::FileSystem& files, std::string pinFile)
      : files_(files), pinFile_(std::move(pinFile)) {}

  // Throws AntigravityACPInstallerError kUntrustedSignature (after logging why)
  // when `archiveSHA256` differs from the registry's digest or from the pin of
  // the distribution's version, or when the pins cannot be read: an unreadable
  // pin file fails closed.
  void verify(const AntigravityACPDistribution& distribution, const std::string& archiveSHA256) const;

  // Pins `archiveSHA256` for `version` unless it is pinned already. Callers
  // serialise installs (the installer's lock), so no pin is lost between two
  // processes. Throws core::FileSystemError.
  void pin(const std::string& version, const std::string& archiveSHA256);

 private:
  std::optional<std::string> pinnedDigest(const std::string& version) const;

  core::FileSystem& files_;
  std::string pinFile_;
};

}  // namespace zephyl::agents
