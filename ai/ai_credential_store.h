// The platform credential store (the Keychain on macOS): API keys and sign-in
// tokens live here by name, never in the settings.
#pragma once

#include <optional>
#include <string>

namespace zephyl::ai {

class AICredentialStore {
 public:
  virtual ~AICredentialStore() = default;

  // The secret stored under `name`, or nullopt. Implementations are safe to call
  // from any thread. Throws CredentialStoreError when the store refuses to be
  // read (a credentials file other users can read, a corrupt file).
  virtual std::optional<std::string> secret(const std::string& name) = 0;
  // Stores or replaces; throws CredentialStoreError when nothing could keep it.
  virtual void setSecret(const std::string& name, const std::string& value) = 0;
  // Removes; nothing happens when there is nothing stored. Throws as setSecret.
  virtual void removeSecret(const std::string& name) = 0;
};

}  // namespace zephyl::ai
