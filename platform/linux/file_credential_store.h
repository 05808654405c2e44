// FileCredentialStore: secrets in a JSON file that only the user can read, for
// machines without a Secret Service (servers, containers, CI). The file is
// mode 0600 in a 0700 folder, replaced atomically, and changed under an
// exclusive lock so two Zephyl processes never lose each other's secrets.
// Like ssh with its keys, a file that others can read or change is refused.
#pragma once

#include <string>

#include "ai/ai_credential_store.h"

namespace zephyl::platform {

class FileCredentialStore : public ai::AICredentialStore {
 public:
  // `path` is the file; its folder is made (0700) on the first write.
  explicit FileCredentialStore(std::string path);

  // Each throws ai::CredentialStoreError: kFileExposed for a file or folder that
  // other users can read or write (the text says how to fix it), kFileUnreadable
  // for a corrupt file or a folder in its place, kWriteFailed.
  std::optional<std::string> secret(const std::string& name) override;
  void setSecret(const std::string& name, const std::string& value) override;
  void removeSecret(const std::string& name) override;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace zephyl::platform
