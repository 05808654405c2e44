#include "editor/keyboard_monitor.h"

#include <gtest/gtest.h>

#include "core/logger.h"
#include "platform/testing/capturing_log_sink.h"
#include "platform/testing/fake_accessibility.h"
#include "platform/testing/fake_event_tap_factory.h"
#include "platform/testing/fake_local_key_monitor.h"
#include "platform/testing/fake_main_queue.h"
#include "platform/testing/fake_program_file_inspector.h"
#include "platform/testing/fake_timer_scheduler.h"

namespace zephyl::editor {
namespace {

using std::chrono::milliseconds;
using TapRecord = platform::testing::FakeEventTapFactory::TapRecord;

constexpr int32_t kNotesPid = 501;
constexpr uint16_t kKeyO = 31;

TapEvent keyDown(int64_t keyCode, std::string characters, uint64_t flags = 0, int64_t target = kNotesPid) {
  return TapEvent{TapEventType::kKeyDown, flags, keyCode, target, std::move(characters)};
}

class KeyboardMonitorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    core::setLogConfiguration({sink_, core::LogLevel::kDebug, true});
    KeyboardConsumeSnapshot snapshot;
    snapshot.isNotesFrontmost = true;
    snapshot.notesProcessIdentifier = kNotesPid;
    snapshot.quickOpenShortcut = QuickOpenKeyboardShortcut{kKeyO, kCommandModifier, "O"};
    monitor_->consumeStore().replace(snapshot);
  }
  void TearDown() override {
    taps_.releaseCreation();
    monitor_.reset();
    core::setLogConfiguration({});
  }

  std::unique_ptr<KeyboardMonitor> makeMonitor(bool wantsEventTap) {
    return std::make_unique<KeyboardMonitor>(
        KeyboardMonitorDependencies{taps_, accessibility_, programFile_, timers_, mainQueue_, localMonitor_},
        [this](const KeyInputEvent& event) { keys_.push_back(event); },
        [this](EventTapRevocationReason reason) { revocations_.push_back(reason); }, wantsEventTap);
  }

  void startRunning() {
    monitor_->start();
    taps_.waitForRunningTap();
  }

  // Taps that have not been stopped.
  size_t liveTaps() {
    size_t live = 0;
    for (const TapRecord& tap : taps_.taps()) live += tap.stopped ? 0 : 1;
    return live;
  }

  std::shared_ptr<platform::testing::CapturingLogSink> sink_ =
      std::make_shared<platform::testing::CapturingLogSink>();
  platform::testing::FakeEventTapFactory taps_;
  platform::testing::FakeAccessibility accessibility_;
  platform::testing::FakeProgramFileInspector programFile_;
  platform::testing::FakeTimerScheduler timers_;
  platform::testing::FakeMainQueue mainQueue_;
  platform::testing::FakeLocalKeyMonitor localMonitor_;
  std::vector<KeyInputEvent> keys_;  // main thread only
  std::vector<EventTapRevocationReason> revocations_;
  std::unique_ptr<KeyboardMonitor> monitor_ = makeMonitor(true);
};

TEST_F(KeyboardMonitorTest, ForwardedKeysReachTheMainQueueOnlyConsumedOnesAreSwallowedAndDisabledTapsResume) {
  startRunning();
  EXPECT_EQ(taps_.creationAttempts(), std::vector<TapLocation>{TapLocation::kHid});

  EXPECT_EQ(taps_.deliver(keyDown(4, "H", kShiftModifier)), TapVerdict::kPass);
  EXPECT_EQ(taps_.deliver(keyDown(4, "h", 0, 777)), TapVerdict::kPass);  // addressed to another process
  EXPECT_EQ(taps_.deliver(keyDown(70000, "x")), TapVerdict::kPass);      // key code out of range
  EXPECT_EQ(taps_.deliver(keyDown(-1, "x")), TapVerdict::kPass);
  EXPECT_EQ(taps_.deliver(TapEvent{TapEventType::kOther, 0, 4, kNotesPid, "h"}), TapVerdict::kPass);
  // A tap the system disabled is enabled again at once.
  const int enabledBefore = taps_.taps().back().enableCount;
  EXPECT_EQ(taps_.deliver(TapEvent{TapEventType::kDisabledByTimeout, 0, 0, 0, ""}), TapVerdict::kPass);
  EXPECT_EQ(taps_.deliver(TapEvent{TapEventType::kDisabledByUserInput, 0, 0, 0, ""}), TapVerdict::kPass);
  EXPECT_EQ(taps_.taps().back().enableCount, enabledBefore + 2);
  EXPECT_TRUE(taps_.taps().back().enabled);
  EXPECT_EQ(sink_->count("CGEvent tap disabled (timeout); re-enabling"), 1u);
  EXPECT_EQ(sink_->count("CGEvent tap disabled (userInput); re-enabling"), 1u);
  monitor_->consumeStore().update([](KeyboardConsumeSnapshot& s) {
    s.slashQueryActive = true;
    s.isNotesTextAreaFocusedCached = true;
  });
  EXPECT_EQ(taps_.deliver(keyDown(kReturnKeyCode, "\r", 0, 0)), TapVerdict::kSwallow);
  // The controller only hears of keys on the main queue.
  EXPECT_TRUE(keys_.empty());
  EXPECT_EQ(mainQueue_.drain(), 2u);
  // Target ids below 1 mean none.
  EXPECT_EQ(keys_, (std::vector<KeyInputEvent>{{"H", 4, kShiftModifier, kNotesPid, std::nullopt},
                                               {"\r", kReturnKeyCode, 0, std::nullopt, std::nullopt}}));
  EXPECT_EQ(accessibility_.focusQueries(), 0);
}

TEST_F(KeyboardMonitorTest, NotesShortcutsAloneAskWhichApplicationHoldsFocus) {
  startRunning();
  accessibility_.setFocusedProcess(kNotesPid);
  EXPECT_EQ(taps_.deliver(keyDown(kKeyO, "o", kCommandModifier)), TapVerdict::kSwallow);
  EXPECT_EQ(accessibility_.focusQueries(), 1);
  // A panel of another application has focus over Notes.
  accessibility_.setFocusedProcess(900);
  EXPECT_EQ(taps_.deliver(keyDown(kKeyO, "o", kCommandModifier)), TapVerdict::kPass);
  // A failed read leaves the id absent: the key goes on as Notes' shortcut.
  accessibility_.setFocusedProcess(std::nullopt);
  EXPECT_EQ(taps_.deliver(keyDown(kKeyO, "o", kCommandModifier)), TapVerdict::kSwallow);
  accessibility_.setTrusted(false);
  accessibility_.setFocusedProcess(900);
  EXPECT_EQ(taps_.deliver(keyDown(kKeyO, "o", kCommandModifier)), TapVerdict::kSwallow);
  EXPECT_EQ(taps_.deliver(keyDown(4, "h")), TapVerdict::kPass);
  EXPECT_EQ(accessibility_.focusQueries(), 3);
  mainQueue_.drain();
  ASSERT_EQ(keys_.size(), 3u + 1u);
  EXPECT_EQ(keys_[0].keyboardFocusProcessIdentifier, kNotesPid);
  EXPECT_EQ(keys_[1].keyboardFocusProcessIdentifier, std::nullopt);
}

TEST_F(KeyboardMonitorTest, CreationFallsBackToTheSessionAndAFailedStartCanBeRetried) {
  taps_.setCreationFails(TapLocation::kHid, true);
  startRunning();
  EXPECT_EQ(taps_.taps().back().location, TapLocation::kSession);
  monitor_->stop();

  taps_.setCreationFails(TapLocation::kSession, true);
  monitor_->start();
  taps_.waitForCreationAttempts(4);
  monitor_->stop();
  EXPECT_EQ(taps_.creationAttempts(), (std::vector<TapLocation>{TapLocation::kHid, TapLocation::kSession,
                                                                TapLocation::kHid, TapLocation::kSession}));

  taps_.setCreationFails(TapLocation::kHid, false);
  monitor_->start();
  taps_.waitUntilSettled(2);
  EXPECT_EQ(liveTaps(), 1u);
  EXPECT_EQ(taps_.deliver(keyDown(4, "h")), TapVerdict::kPass);
}

TEST_F(KeyboardMonitorTest, TwoQuickStartStopCyclesLeaveExactlyOneRunningTap) {
  monitor_->start();
  monitor_->stop();
  monitor_->start();
  monitor_->stop();
  monitor_->start();
  taps_.waitUntilSettled(3);
  // An older generation's tap is stopped by its own thread, possibly just after
  // the newest one started running.
  EXPECT_TRUE(taps_.waitForLiveTaps(1, std::chrono::seconds(10))) << liveTaps() << " taps live";
  taps_.waitForRunningTap();
  EXPECT_EQ(taps_.runningCount(), 1u);
  EXPECT_EQ(taps_.deliver(keyDown(4, "h")), TapVerdict::kPass);
  mainQueue_.drain();
  EXPECT_EQ(keys_.size(), 1u);  // one tap, one delivery

  monitor_->stop();
  EXPECT_EQ(liveTaps(), 0u);
}

TEST_F(KeyboardMonitorTest, ALateStartOfAnOlderGenerationAbandonsItsTap) {
  taps_.holdCreation();
  monitor_->start();
  taps_.waitForCreationAttempts(1);  // the first tap thread is inside creation
  monitor_->stop();
  monitor_->start();
  taps_.waitForCreationAttempts(2);
  taps_.releaseCreation();
  taps_.waitUntilSettled(2);
  EXPECT_EQ(liveTaps(), 1u);
  size_t abandoned = 0;
  for (const TapRecord& tap : taps_.taps()) {
    if (tap.stopped) {
      ++abandoned;
      EXPECT_EQ(tap.enableCount, 0);
      EXPECT_FALSE(tap.everRan);
    }
  }
  EXPECT_EQ(abandoned, 1u);
}

TEST_F(KeyboardMonitorTest, TheWatchdogToleratesAFailedStatButAReplacedProgramFileStopsTheTapForGood) {
  startRunning();
  ASSERT_EQ(timers_.schedules().size(), 1u);
  EXPECT_EQ(timers_.schedules()[0].firstDeadline, milliseconds(1000));
  EXPECT_EQ(timers_.schedules()[0].interval, milliseconds(1000));
  EXPECT_EQ(timers_.schedules()[0].leeway, milliseconds(250));
  timers_.fire();
  programFile_.setIdentity(std::nullopt);  // stat fails: proves nothing
  timers_.fire();
  EXPECT_TRUE(monitor_->isStarted());

  programFile_.setIdentity(FileIdentity{1, 200});
  timers_.fire();
  timers_.fire();
  EXPECT_FALSE(monitor_->isStarted());
  EXPECT_EQ(liveTaps(), 0u);
  EXPECT_EQ(timers_.activeCount(), 0u);
  EXPECT_FALSE(localMonitor_.installed());
  EXPECT_TRUE(revocations_.empty());  // only on the main queue
  mainQueue_.drain();
  EXPECT_EQ(revocations_,
            std::vector<EventTapRevocationReason>{EventTapRevocationReason::kExecutableReplaced});
  EXPECT_EQ(sink_->count("CGEvent tap blocked (executableReplaced)"), 1u);
  EXPECT_EQ(sink_->count("CGEvent tap stopped (executableReplaced)"), 1u);

  // Until the application restarts, the monitor stays stopped.
  monitor_->start();
  EXPECT_FALSE(monitor_->isStarted());
  EXPECT_EQ(taps_.creationAttempts().size(), 1u);
}

TEST_F(KeyboardMonitorTest, AWithdrawnPermissionStopsTheTapUntilStartedAgain) {
  startRunning();
  accessibility_.setTrusted(false);
  timers_.fire();
  EXPECT_FALSE(monitor_->isStarted());
  mainQueue_.drain();
  EXPECT_EQ(revocations_,
            std::vector<EventTapRevocationReason>{EventTapRevocationReason::kAccessibilityRevoked});
  EXPECT_EQ(sink_->count("CGEvent tap stopped (accessibilityRevoked)"), 1u);

  accessibility_.setTrusted(true);
  monitor_->start();
  taps_.waitUntilSettled(2);
  EXPECT_EQ(liveTaps(), 1u);
  EXPECT_EQ(timers_.activeCount(), 1u);
}

TEST_F(KeyboardMonitorTest, LocalMonitorUsesTheForwardRuleWithoutProcessIds) {
  monitor_ = makeMonitor(false);
  SetUp();
  monitor_->start();
  EXPECT_TRUE(localMonitor_.installed());
  EXPECT_EQ(localMonitor_.type(KeyInputEvent{"h", 4, 0, 777, 777}), false);
  EXPECT_EQ(localMonitor_.type(KeyInputEvent{"h", 4, kCommandModifier, {}, {}}), false);
  monitor_->consumeStore().update([](KeyboardConsumeSnapshot& s) {
    s.slashQueryActive = true;
    s.isNotesTextAreaFocusedCached = true;
  });
  EXPECT_EQ(localMonitor_.type(KeyInputEvent{"", kDownArrowKeyCode, 0, {}, {}}), true);
  ASSERT_EQ(keys_.size(), 2u);  // handed over at once: the local monitor runs on the main thread
  EXPECT_EQ(keys_[0], (KeyInputEvent{"h", 4, 0, std::nullopt, std::nullopt}));
  EXPECT_TRUE(taps_.creationAttempts().empty());  // no tap wanted
  monitor_->stop();
  EXPECT_FALSE(localMonitor_.installed());
}

}  // namespace
}  // namespace zephyl::editor
