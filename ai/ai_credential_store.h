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
  // from any thread; failures to reach the store read as absent and are logged.
  virtual std::optional<std::string> secret(const std::string& name) = 0;
  virtual void setSecret(const std::string& name, const std::string& value) = 0;
  virtual void removeSecret(const std::string& name) = 0;
};

}  // namespace zephyl::ai
