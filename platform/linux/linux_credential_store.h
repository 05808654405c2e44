// LinuxCredentialStore: the platform credential store on Linux. The Secret
// Service keeps the secrets where one answers; otherwise (a server, a
// container, CI) a private file under the data folder does, and the user is
// told once on standard error that the fallback is in use.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "ai/ai_credential_store.h"
#include "platform/linux/file_credential_store.h"

namespace zephyl::platform {

enum class CredentialSource { kSecretService, kFile };

std::string_view credentialSourceName(CredentialSource source);  // "secret-service", "file"

class LinuxCredentialStore : public ai::AICredentialStore {
 public:
  using Notice = std::function<void(const std::string& text)>;

  // `secretService` null: none is reachable (no session bus), the file alone
  // serves. `notice` is called at most once, when the file is first used.
  LinuxCredentialStore(std::unique_ptr<ai::AICredentialStore> secretService, std::string filePath,
                       Notice notice);

  // A secret in the Secret Service wins over one in the file (left from a time
  // without a keyring). Throws ai::CredentialStoreError as the file store does.
  std::optional<std::string> secret(const std::string& name) override;
  // Stores in the Secret Service when it answers, else in the file.
  void setSecret(const std::string& name, const std::string& value) override;
  // Removes from both.
  void removeSecret(const std::string& name) override;

  // Where the secret `name` is stored now, if anywhere.
  std::optional<CredentialSource> source(const std::string& name);

 private:
  std::optional<std::pair<std::string, CredentialSource>> lookup(const std::string& name);
  // The Secret Service while it answers; null once it has failed in this process.
  ai::AICredentialStore* service();
  void serviceFailed();
  void usingFile();

  std::mutex mutex_;  // guards serviceFailed_ and noticeGiven_
  bool serviceFailed_ = false;
  bool noticeGiven_ = false;
  std::unique_ptr<ai::AICredentialStore> secretService_;
  FileCredentialStore file_;
  Notice notice_;
};

}  // namespace zephyl::platform
