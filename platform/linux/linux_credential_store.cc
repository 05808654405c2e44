#include "platform/linux/linux_credential_store.h"

#include "ai/credential_store_error.h"
#include "core/logger.h"

namespace zephyl::platform {
namespace {

constexpr core::Logger kLog("LinuxCredentialStore");

bool isUnavailable(const ai::CredentialStoreError& error) {
  return error.code() == ai::CredentialStoreError::Code::kServiceUnavailable;
}

}  // namespace

std::string_view credentialSourceName(CredentialSource source) {
  switch (source) {
    case CredentialSource::kSecretService:
      return "secret-service";
    case CredentialSource::kFile:
      return "file";
  }
  return {};
}

LinuxCredentialStore::LinuxCredentialStore(std::unique_ptr<ai::AICredentialStore> secretService,
                                           std::string filePath, Notice notice)
    : secretService_(std::move(secretService)), file_(std::move(filePath)), notice_(std::move(notice)) {}

ai::AICredentialStore* LinuxCredentialStore::service() {
  std::lock_guard lock(mutex_);
  return serviceFailed_ ? nullptr : secretService_.get();
}

void LinuxCredentialStore::serviceFailed() {
  std::lock_guard lock(mutex_);
  // One time-out per process is enough: later calls go straight to the file.
  serviceFailed_ = true;
  kLog.info() << "No Secret Service answers; using the credentials file";
}

void LinuxCredentialStore::usingFile() {
  {
    std::lock_guard lock(mutex_);
    if (noticeGiven_) return;
    noticeGiven_ = true;
  }
  if (notice_) {
    notice_("No Secret Service (desktop keyring) is available; credentials are kept in " + file_.path() +
            ", readable only by you");
  }
}

std::optional<std::pair<std::string, CredentialSource>> LinuxCredentialStore::lookup(
    const std::string& name) {
  if (auto* keyring = service()) {
    try {
      if (auto value = keyring->secret(name))
        return std::pair(std::move(*value), CredentialSource::kSecretService);
    } catch (const ai::CredentialStoreError& error) {
      if (!isUnavailable(error)) throw;
      serviceFailed();
    }
  }
  auto value = file_.secret(name);
  if (!value) return std::nullopt;
  usingFile();
  return std::pair(std::move(*value), CredentialSource::kFile);
}

std::optional<CredentialSource> LinuxCredentialStore::source(const std::string& name) {
  if (auto found = lookup(name)) return found->second;
  return std::nullopt;
}

std::optional<std::string> LinuxCredentialStore::secret(const std::string& name) {
  if (auto found = lookup(name)) return std::move(found->first);
  return std::nullopt;
}

void LinuxCredentialStore::setSecret(const std::string& name, const std::string& value) {
  if (auto* keyring = service()) {
    try {
      keyring->setSecret(name, value);
      return;
    } catch (const ai::CredentialStoreError& error) {
      if (!isUnavailable(error)) throw;
      serviceFailed();
    }
  }
  usingFile();
  file_.setSecret(name, value);
}

void LinuxCredentialStore::removeSecret(const std::string& name) {
  if (auto* keyring = service()) {
    try {
      keyring->removeSecret(name);
    } catch (const ai::CredentialStoreError& error) {
      if (!isUnavailable(error)) throw;
      serviceFailed();
    }
  }
  file_.removeSecret(name);
}

}  // namespace zephyl::platform
