#include "platform/linux/linux_workspace.h"

#include <string>

#include "core/logger.h"

namespace zephyl::platform {
namespace {

constexpr core::Logger kLog("NotesPresenceService");

}  // namespace

std::optional<editor::RunningApplication> LinuxWorkspace::frontmostApplication() {
  if (!reported_.exchange(true)) {
    kLog.warning() << "The application workspace is unavailable on Linux; Apple Notes is never in front";
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
  kLog.warning() << "Cannot bring " << std::string(bundleIdentifier) << " to the front: unavailable on Linux";
  return false;
}

}  // namespace zephyl::platform
