// The desktop's workspace: which application is in front, notifications when
// another comes to the front or one quits, and bringing an application forward.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

#include "editor/frontmost_app_snapshot.h"

namespace zephyl::editor {

class Workspace {
 public:
  // The application carried by an activation notification; nullopt when the
  // notification carries none.
  using ActivationHandler = std::function<void(const std::optional<RunningApplication>&)>;
  // The process id of the application that quit.
  using TerminationHandler = std::function<void(int32_t)>;
  using ObserverToken = uint64_t;

  virtual ~Workspace() = default;

  // The application in front, or nullopt when there is none.
  virtual std::optional<RunningApplication> frontmostApplication() = 0;

  // Handlers run on the main thread until removed.
  virtual ObserverToken addActivationObserver(ActivationHandler handler) = 0;
  virtual ObserverToken addTerminationObserver(TerminationHandler handler) = 0;
  virtual void removeObserver(ObserverToken token) = 0;

  // Brings the application with `bundleIdentifier` to the front. False when it
  // is not running or cannot be activated.
  virtual bool activateApplication(std::string_view bundleIdentifier) = 0;
};

}  // namespace zephyl::editor
