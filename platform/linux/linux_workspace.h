// Linux has no Apple Notes and no application workspace to follow: no
// application is ever in front, no notification arrives, and nothing can be
// brought forward. Observers are kept so that removing them stays well defined.
#pragma once

#include <atomic>
#include <mutex>
#include <set>

#include "core/mutex.h"
#include "editor/workspace.h"

namespace zephyl::platform {

class LinuxWorkspace : public editor::Workspace {
 public:
  // Nullopt; the first call logs why.
  std::optional<editor::RunningApplication> frontmostApplication() override;
  ObserverToken addActivationObserver(ActivationHandler handler) override;
  ObserverToken addTerminationObserver(TerminationHandler handler) override;
  void removeObserver(ObserverToken token) override;
  // False, logged.
  bool activateApplication(std::string_view bundleIdentifier) override;

 private:
  std::atomic<bool> reported_{false};
  core::Mutex mutex_;
  std::set<ObserverToken> observers_ ZEPHYL_GUARDED_BY(mutex_);
  ObserverToken nextToken_ ZEPHYL_GUARDED_BY(mutex_) = 1;
};

}  // namespace zephyl::platform
