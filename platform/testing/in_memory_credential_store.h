// A credential store in memory, for tests.
#pragma once

#include <map>
#include <mutex>

#include "ai/ai_credential_store.h"

namespace zephyl::platform::testing {

class InMemoryCredentialStore : public ai::AICredentialStore {
 public:
  std::optional<std::string> secret(const std::string& name) override {
    std::lock_guard lock(mutex_);
    auto it = secrets_.find(name);
    if (it == secrets_.end()) return std::nullopt;
    return it->second;
  }
  void setSecret(const std::string& name, const std::string& value) override {
    std::lock_guard lock(mutex_);
    secrets_[name] = value;
  }
  void removeSecret(const std::string& name) override {
    std::lock_guard lock(mutex_);
    secrets_.erase(name);
  }

 private:
  std::mutex mutex_;  // guards secrets_
  std::map<std::string, std::string> secrets_;
};

}  // namespace zephyl::platform::testing
