#include "editor/notes_presence_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/recording/recording_platform.h"

namespace zephyl::editor {
namespace {

using ::testing::ElementsAre;

const RunningApplication kNotes{std::string(kNotesBundleIdentifier), "Notes", 501};
const RunningApplication kSafari{"com.apple.Safari", "Safari", 600};

// A workspace whose notifications can carry no application, and whose
// frontmost application can differ from the one a notification names.
class ScriptedWorkspace : public platform::RecordingPlatform {
 public:
  void notifyActivation(const std::optional<RunningApplication>& carried) {
    for (const auto& handler : activationHandlers_) handler(carried);
  }
  ObserverToken addActivationObserver(ActivationHandler handler) override {
    activationHandlers_.push_back(handler);
    return RecordingPlatform::addActivationObserver(std::move(handler));
  }
  // What frontmostApplication() answers from now on, without any notification.
  void setFrontmost(std::optional<RunningApplication> application) { frontmost_ = std::move(application); }
  std::optional<RunningApplication> frontmostApplication() override {
    return frontmost_ ? *frontmost_ : RecordingPlatform::frontmostApplication();
  }

 private:
  std::vector<ActivationHandler> activationHandlers_;
  std::optional<std::optional<RunningApplication>> frontmost_;
};

class NotesPresenceServiceTest : public ::testing::Test {
 protected:
  // "notes:<pid>", "other:<name>" or "none" for every published state.
  std::vector<std::string> published_;
  ScriptedWorkspace workspace_;
  NotesPresenceService service_{
      workspace_, [this](const NotesPresenceState& state) {
        if (!state.frontmost) {
          published_.push_back("none");
        } else if (state.isNotesFrontmost()) {
          published_.push_back("notes:" + std::to_string(*state.notesProcessIdentifier()));
        } else {
          published_.push_back("other:" + state.frontmost->frontmostAppName);
        }
      }};
};

TEST_F(NotesPresenceServiceTest, PublishesOnlyChanges) {
  service_.start();
  EXPECT_TRUE(published_.empty());  // nothing in front, as before the first start
  workspace_.activate(kNotes);
  workspace_.activate(kNotes);
  workspace_.activate(kSafari);
  workspace_.activate({std::nullopt, std::nullopt, 700});
  EXPECT_THAT(published_, ElementsAre("notes:501", "other:Safari", "other:Unknown"));
  EXPECT_FALSE(service_.lastState().isNotesFrontmost());
}

TEST_F(NotesPresenceServiceTest, StartPublishesWhatIsAlreadyInFront) {
  workspace_.activate(kNotes);
  service_.start();
  EXPECT_THAT(published_, ElementsAre("notes:501"));
  EXPECT_EQ(service_.lastState().notesProcessIdentifier(), 501);
}

TEST_F(NotesPresenceServiceTest, AnActivationWithoutAnApplicationReadsTheFrontmostOne) {
  service_.start();
  workspace_.activate(kSafari);
  workspace_.setFrontmost(kNotes);
  workspace_.notifyActivation(std::nullopt);
  workspace_.notifyActivation(std::nullopt);  // Notes still in front: no change
  workspace_.setFrontmost(std::nullopt);
  workspace_.notifyActivation(std::nullopt);
  EXPECT_THAT(published_, ElementsAre("other:Safari", "notes:501", "none"));
}

TEST_F(NotesPresenceServiceTest, TerminationClearsOnlyWhenTheFrontmostApplicationQuits) {
  service_.start();
  workspace_.activate(kNotes);
  workspace_.terminate(600);  // Safari quits in the background
  workspace_.terminate(501);
  EXPECT_THAT(published_, ElementsAre("notes:501", "none"));
}

TEST_F(NotesPresenceServiceTest, StopRemovesBothObservers) {
  service_.start();
  service_.stop();
  workspace_.activate(kNotes);
  workspace_.terminate(501);
  EXPECT_TRUE(published_.empty());
}

}  // namespace
}  // namespace zephyl::editor
