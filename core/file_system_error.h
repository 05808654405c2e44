// The error of FileSystem operations.
#pragma once

#include <string>
#include <string_view>

#include "core/error.h"

namespace zephyl::core {

class FileSystemError : public Error {
 public:
  enum class Code { kReadFailed, kWriteFailed, kRemoveFailed, kListFailed };

  FileSystemError(Code code, std::string path, std::string reason)
      : Error(std::string(text(code)) + ": " + path + " (" + reason + ")"),
        code_(code),
        path_(std::move(path)),
        reason_(std::move(reason)) {}

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kReadFailed:
        return "Could not read the file";
      case Code::kWriteFailed:
        return "Could not write the file";
      case Code::kRemoveFailed:
        return "Could not remove the file";
      case Code::kListFailed:
        return "Could not list the folder";
    }
    return {};
  }

  Code code() const { return code_; }
  const std::string& path() const { return path_; }
  const std::string& reason() const { return reason_; }

 private:
  Code code_;
  std::string path_;
  std::string reason_;
};

}  // namespace zephyl::core
