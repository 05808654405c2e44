// Error conventions shared by every component.
//
// Each component has one error type deriving from `Error`; every case of it has
// one fixed English text, and the technical detail goes to the log. Cancellation
// is not an error of any component: it is `CancellationError`, never retried and
// never turned into another error.
#pragma once

#include <exception>
#include <string>
#include <utility>

namespace zephyl::core {

class Error : public std::exception {
 public:
  explicit Error(std::string description) : description_(std::move(description)) {}

  // The user-facing text of this error.
  const std::string& description() const noexcept { return description_; }
  const char* what() const noexcept override { return description_.c_str(); }

 private:
  std::string description_;
};

// Thrown when the calling task was cancelled; callers stop without reporting.
class CancellationError : public std::exception {
 public:
  const char* what() const noexcept override { return "The operation was cancelled."; }
};

}  // namespace zephyl::core
