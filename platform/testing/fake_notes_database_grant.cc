#include "platform/testing/fake_notes_database_grant.h"

#include <stdexcept>

namespace zephyl::platform::testing {

std::optional<std::string> FakeNotesDatabaseGrant::resolveGrantedPath() {
  if (resolutionFailure_) throw std::runtime_error(*resolutionFailure_);
  return path_;
}

bool FakeNotesDatabaseGrant::startAccessing(const std::string& path) {
  std::lock_guard lock(mutex_);
  events_.push_back("start:" + path);
  if (startResult_) ++openScopes_;
  return startResult_;
}

void FakeNotesDatabaseGrant::stopAccessing(const std::string& path) {
  std::lock_guard lock(mutex_);
  events_.push_back("stop:" + path);
  --openScopes_;
}

}  // namespace zephyl::platform::testing
