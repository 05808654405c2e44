// EnvironmentCredentialStore: the credential store as every command sees it.
// Environment variables (OPENAI_API_KEY, ...) win over what is stored and are
// never written anywhere; everything else goes to the stored backend.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ai/ai_credential_store.h"
#include "core/app_directories.h"

namespace zephyl::ai {

// The environment variables that stand in for a stored secret, in the order
// they are read. Empty for secrets no variable can supply (account tokens).
std::vector<std::string> environmentVariablesForSecret(const std::string& secretName);

// The first of them, or "": what a missing-credential message names.
std::string environmentVariableFor(std::string_view secretName);

class EnvironmentCredentialStore : public AICredentialStore {
 public:
  // `stored` must outlive this store.
  EnvironmentCredentialStore(AICredentialStore& stored, core::EnvironmentLookup environment);

  std::optional<std::string> secret(const std::string& name) override;
  void setSecret(const std::string& name, const std::string& value) override;
  void removeSecret(const std::string& name) override;

  // The variable that supplies `name` now, if one does (never its value).
  std::optional<std::string> environmentSource(const std::string& name) const;
  AICredentialStore& stored() { return stored_; }

 private:
  AICredentialStore& stored_;
  core::EnvironmentLookup environment_;
};

}  // namespace zephyl::ai
