#include "editor/notes_presence_service.h"

#include "core/logger.h"

namespace zephyl::editor {
namespace {

constexpr core::Logger kLog("NotesPresenceService");

}  // namespace

NotesPresenceService::NotesPresenceService(Workspace& workspace, ChangeHandler onChange)
    : workspace_(workspace), onChange_(std::move(onChange)) {}

void NotesPresenceService::start() {
  if (activationObserver_) return;
  activationObserver_ = workspace_.addActivationObserver(
      [this](const std::optional<RunningApplication>& activated) { handleActivation(activated); });
  terminationObserver_ = workspace_.addTerminationObserver(
      [this](int32_t processIdentifier) { handleTermination(processIdentifier); });
  publish(frontmostState());
}

void NotesPresenceService::stop() {
  if (activationObserver_) workspace_.removeObserver(*activationObserver_);
  if (terminationObserver_) workspace_.removeObserver(*terminationObserver_);
  activationObserver_.reset();
  terminationObserver_.reset();
}

NotesPresenceState NotesPresenceService::frontmostState() {
  auto frontmost = workspace_.frontmostApplication();
  if (!frontmost) return {};
  return {FrontmostAppSnapshot::of(*frontmost)};
}

void NotesPresenceService::handleActivation(const std::optional<RunningApplication>& activated) {
  publish(activated ? NotesPresenceState{FrontmostAppSnapshot::of(*activated)} : frontmostState());
}

void NotesPresenceService::handleTermination(int32_t processIdentifier) {
  auto frontmost = workspace_.frontmostApplication();
  // The workspace may still name the application that is quitting as in front.
  if (!frontmost || frontmost->processIdentifier == processIdentifier) {
    publish({});
    return;
  }
  publish({FrontmostAppSnapshot::of(*frontmost)});
}

void NotesPresenceService::publish(NotesPresenceState state) {
  if (state == lastState_) return;
  lastState_ = std::move(state);
  kLog.info() << "Frontmost application changed notes=" << (lastState_.isNotesFrontmost() ? "yes" : "no");
  onChange_(lastState_);
}

}  // namespace zephyl::editor
