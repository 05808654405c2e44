// SecretServiceCredentialStore: secrets in the desktop keyring through the
// Secret Service (libsecret), one item per secret name under Zephyl's own
// schema, as git's and gh's Linux helpers keep theirs. Every call is bounded
// by a time-out, so a locked or absent keyring never hangs a command.
#pragma once

#include <chrono>
#include <string>

#include "ai/ai_credential_store.h"

namespace zephyl::platform {

class SecretServiceCredentialStore : public ai::AICredentialStore {
 public:
  explicit SecretServiceCredentialStore(std::chrono::milliseconds timeout = std::chrono::seconds(10));

  // Each throws ai::CredentialStoreError(kServiceUnavailable) when the service
  // fails or does not answer within the time-out (a locked keyring waiting for
  // a prompt nobody sees, no session bus). Safe to call from any thread.
  std::optional<std::string> secret(const std::string& name) override;
  void setSecret(const std::string& name, const std::string& value) override;
  void removeSecret(const std::string& name) override;

 private:
  std::chrono::milliseconds timeout_;
};

}  // namespace zephyl::platform
