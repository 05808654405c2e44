#include "platform/linux/linux_workspace.h"

#include <string>

namespace zephyl::platform {

std::optional<editor::RunningApplication> LinuxWorkspace::frontmostApplication() {
  if (!reported_.exchange(true)) {
    log_.warning() << "The application workspace is unavailable on Linux; Apple Notes is never in front";
  }
  return std::nullopt;
}

editor::Workspace::ObserverToken LinuxWorkspace::addActivationObserver(ActivationHandler) {
  core::MutexLock lock(mutex_);
  observers_.insert(nextToken_);
  return nextToken_++;
}

editor::Workspace::ObserverToken LinuxWorkspace::addTerminationObserver(TerminationHandler) {
  core::MutexLock lock(mutex_);
  observers_.insert(nextToken_);
  return nextToken_++;
}

void LinuxWorkspace::removeObserver(ObserverToken token) {
  core::MutexLock lock(mutex_);
  observers_.erase(token);
}

bool LinuxWorkspace::activateApplication(std::string_view bundleIdentifier) {
  log_.warning() << "Cannot bring " << std::string(bundleIdentifier) << " to the front: unavailable on Linux";
  return false;
}

}  // namespace zephyl::platform
