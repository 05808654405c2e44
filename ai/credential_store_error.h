// CredentialStoreError: why a credential could not be read or kept. The texts
// name files and fixes, never a secret.
#pragma once

#include <string>
#include <string_view>

#include "core/error.h"

namespace zephyl::ai {

class CredentialStoreError : public core::Error {
 public:
  enum class Code { kFileExposed, kFileUnreadable, kWriteFailed, kServiceUnavailable };

  // `detail` is shown after the fixed text: a path and how to fix it, never a secret.
  CredentialStoreError(Code code, const std::string& detail)
      : Error(std::string(text(code)) + (detail.empty() ? "" : ": " + detail)), code_(code) {}

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kFileExposed:
        return "The credentials file can be read or changed by other users, so Zephyl will not use it";
      case Code::kFileUnreadable:
        return "The credentials file could not be read";
      case Code::kWriteFailed:
        return "The credential could not be saved";
      case Code::kServiceUnavailable:
        return "The Secret Service did not answer";
    }
    return {};
  }

  Code code() const { return code_; }

 private:
  Code code_;
};

}  // namespace zephyl::ai
