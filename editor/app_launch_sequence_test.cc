#include "editor/app_launch_sequence.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>

#include "core/in_memory_settings_store.h"
#include "editor/note_template_service.h"
#include "platform/recording/recording_platform.h"
#include "platform/testing/fake_accessibility.h"
#include "platform/testing/fake_clock.h"
#include "platform/testing/fake_event_tap_factory.h"
#include "platform/testing/fake_local_key_monitor.h"
#include "platform/testing/fake_main_queue.h"
#include "platform/testing/fake_program_file_inspector.h"
#include "platform/testing/fake_timer_scheduler.h"

namespace zephyl::editor {
namespace {

using ::testing::ElementsAre;

// Every collaborator writes what it was asked to do into one list, so the
// test sees the order of the launch.
using Steps = std::vector<std::string>;

class StepUpdater : public SoftwareUpdater {
 public:
  explicit StepUpdater(Steps& steps) : steps_(steps) {}
  bool start() override {
    steps_.push_back("updater");
    return false;
  }
  Steps& steps_;
};

class StepAppearance : public AppearanceApplier {
 public:
  explicit StepAppearance(Steps& steps) : steps_(steps) {}
  bool apply(AppAppearance appearance) override {
    steps_.push_back(appearance == AppAppearance::kDark ? "appearance:dark" : "appearance:other");
    return true;
  }
  Steps& steps_;
};

class StepDesktop : public platform::RecordingPlatform {
 public:
  explicit StepDesktop(Steps& steps) : steps_(steps) {}
  ObserverToken addActivationObserver(ActivationHandler handler) override {
    steps_.push_back("presence");
    return RecordingPlatform::addActivationObserver(std::move(handler));
  }
  Steps& steps_;
};

class StepLocalMonitor : public platform::testing::FakeLocalKeyMonitor {
 public:
  explicit StepLocalMonitor(Steps& steps) : steps_(steps) {}
  void install(LocalKeyHandler handler) override {
    steps_.push_back("keyboardMonitor");
    FakeLocalKeyMonitor::install(std::move(handler));
  }
  Steps& steps_;
};

TEST(AppLaunchSequenceTest, StartsEachServiceInOrderAndWarmsBacklinksInTheBackground) {
  Steps steps;
  core::InMemorySettingsStore settings;
  settings.setString("appLanguage", "de");
  settings.setString("appearance", "dark");
  StepUpdater updater(steps);
  StepAppearance appearance(steps);
  StepDesktop desktop(steps);
  StepLocalMonitor localMonitor(steps);
  platform::testing::FakeClock clock;
  RandomUuidGenerator uuids;
  NoteTemplateService templates(nullptr, nullptr);
  TemplateDateFormatter formatter("UTC");
  SlashCommandSession slashSession(templates, formatter);
  NotesFormattingService formatting(desktop, desktop, desktop);
  NoteTemplatePaster paster(desktop, desktop);
  ImmediateActionQueue actions;
  platform::testing::FakeMainQueue mainQueue;
  platform::testing::FakeEventTapFactory taps;
  platform::testing::FakeAccessibility accessibility;
  platform::testing::FakeProgramFileInspector programFile;
  platform::testing::FakeTimerScheduler timers;
  KeyboardMonitor monitor(
      {taps, accessibility, programFile, timers, mainQueue, localMonitor}, [](const auto&) {}, [](auto) {},
      /*wantsEventTap=*/false);
  AppController controller({settings, clock, uuids, monitor.consumeStore(), desktop, desktop, desktop,
                            formatting, desktop, paster, desktop, slashSession, desktop, desktop, actions,
                            mainQueue});

  std::promise<std::thread::id> warmedOn;
  {
    AppLaunchSequence launch({settings, updater, appearance, controller, monitor,
                              [&] { warmedOn.set_value(std::this_thread::get_id()); }});
    launch.launch();
    EXPECT_THAT(steps, ElementsAre("updater", "appearance:dark", "presence", "keyboardMonitor"));
    EXPECT_TRUE(monitor.isStarted());
    EXPECT_EQ(settings.stringListValue("AppleLanguages"), (std::vector<std::string>{"de"}));
  }  // the sequence waits for the warm-up as it goes
  auto warmed = warmedOn.get_future();
  ASSERT_EQ(warmed.wait_for(std::chrono::seconds(0)), std::future_status::ready);
  EXPECT_NE(warmed.get(), std::this_thread::get_id());
  monitor.stop();
}

TEST(AppLaunchSequenceTest, FollowingTheSystemLanguageRemovesTheOverride) {
  core::InMemorySettingsStore settings;
  settings.setStringList("AppleLanguages", {"fr"});
  settings.setString("appLanguage", "system");
  EXPECT_TRUE(applyLanguageChoice(settings));
  EXPECT_EQ(settings.stringListValue("AppleLanguages"), std::nullopt);
  settings.setString("appLanguage", "zh-Hans");
  EXPECT_TRUE(applyLanguageChoice(settings));
  EXPECT_EQ(settings.stringListValue("AppleLanguages"), (std::vector<std::string>{"zh-Hans"}));
}

}  // namespace
}  // namespace zephyl::editor
