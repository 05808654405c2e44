// Follows which application is in front through the workspace's activation and
// termination notifications, and tells the controller only when that changes.
#pragma once

#include <functional>
#include <optional>

#include "editor/frontmost_app_snapshot.h"
#include "editor/workspace.h"

namespace zephyl::editor {

struct NotesPresenceState {
  std::optional<FrontmostAppSnapshot> frontmost;  // nullopt: no application in front

  bool isNotesFrontmost() const { return frontmost && frontmost->isNotes(); }
  std::optional<int32_t> notesProcessIdentifier() const {
    if (!isNotesFrontmost()) return std::nullopt;
    return frontmost->processIdentifier;
  }

  friend bool operator==(const NotesPresenceState&, const NotesPresenceState&) = default;
};

class NotesPresenceService {
 public:
  using ChangeHandler = std::function<void(const NotesPresenceState&)>;

  // `workspace` must outlive the service. `onChange` runs on the main thread.
  NotesPresenceService(Workspace& workspace, ChangeHandler onChange);
  ~NotesPresenceService() { stop(); }

  NotesPresenceService(const NotesPresenceService&) = delete;
  NotesPresenceService& operator=(const NotesPresenceService&) = delete;

  // Observes the workspace and publishes the application in front now when it
  // differs from the last state (none before the first start). Main thread.
  void start();
  // Removes both observers; no-op when stopped. Main thread.
  void stop();

  const NotesPresenceState& lastState() const { return lastState_; }

  // The notification handlers, public so that a replay can drive them.
  void handleActivation(const std::optional<RunningApplication>& activated);
  void handleTermination(int32_t processIdentifier);

 private:
  void publish(NotesPresenceState state);
  NotesPresenceState frontmostState();

  Workspace& workspace_;
  const ChangeHandler onChange_;
  std::optional<Workspace::ObserverToken> activationObserver_;
  std::optional<Workspace::ObserverToken> terminationObserver_;
  NotesPresenceState lastState_;
};

}  // namespace zephyl::editor
