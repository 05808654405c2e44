// A scriptable grant: names a path (or none), can fail to resolve, and records
// the access scopes it was asked to start and stop.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "notes_store/notes_database_grant.h"

namespace zephyl::platform::testing {

class FakeNotesDatabaseGrant : public notes_store::NotesDatabaseGrant {
 public:
  explicit FakeNotesDatabaseGrant(std::optional<std::string> path = std::nullopt) : path_(std::move(path)) {}

  std::optional<std::string> resolveGrantedPath() override;
  bool startAccessing(const std::string& path) override;
  void stopAccessing(const std::string& path) override;

  // Makes resolveGrantedPath throw a std::runtime_error with this text.
  void setResolutionFailure(std::string message) { resolutionFailure_ = std::move(message); }
  void setStartAccessingResult(bool result) { startResult_ = result; }

  // "start:<path>", "stop:<path>", in call order.
  std::vector<std::string> events() const {
    std::lock_guard lock(mutex_);
    return events_;
  }
  int openScopes() const {
    std::lock_guard lock(mutex_);
    return openScopes_;
  }

 private:
  std::optional<std::string> path_;
  std::optional<std::string> resolutionFailure_;
  bool startResult_ = true;
  // Operations may run on several threads at once, each with its own connection.
  mutable std::mutex mutex_;  // guards events_ and openScopes_
  std::vector<std::string> events_;
  int openScopes_ = 0;
};

}  // namespace zephyl::platform::testing
