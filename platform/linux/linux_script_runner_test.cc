#include "platform/linux/linux_script_runner.h"

#include <gtest/gtest.h>

#include "core/logger.h"
#include "editor/accessibility_error.h"
#include "editor/notes_formatting_error.h"
#include "editor/notes_formatting_service.h"
#include "editor/script_error.h"
#include "platform/linux/linux_accessibility.h"
#include "platform/linux/linux_event_tap_factory.h"
#include "platform/linux/linux_shortcut_poster.h"
#include "platform/testing/capturing_log_sink.h"

namespace zephyl::platform {
namespace {

// On Linux every path to Apple Notes fails with a clear error instead of
// pretending to have formatted anything.
TEST(LinuxEditorFacilities, FormattingFailsClearlyWithoutAppleNotes) {
  LinuxShortcutPoster poster;
  LinuxScriptRunner scripts;
  LinuxAccessibility accessibility;
  editor::NotesFormattingService service(poster, scripts, accessibility);

  try {
    service.apply(editor::NotesFormatCommand::kHeading);
    FAIL() << "posting a shortcut succeeded";
  } catch (const editor::NotesFormattingError& error) {
    EXPECT_EQ(error.code(), editor::NotesFormattingError::Code::kShortcutPostFailed);
  }
  try {
    service.apply(editor::NotesFormatCommand::kBold);
    FAIL() << "clicking a menu succeeded";
  } catch (const editor::ScriptError& error) {
    EXPECT_EQ(error.code(), editor::ScriptError::Code::kUnavailable);
    EXPECT_EQ(error.description(), "AppleScript and System Events scripting are unavailable on this system");
  }
  EXPECT_THROW(service.readActiveCommands(), editor::AccessibilityError);
  EXPECT_FALSE(accessibility.isProcessTrusted());
  EXPECT_EQ(accessibility.focusedApplicationProcessIdentifier(), std::nullopt);
}

TEST(LinuxEditorFacilities, EventTapCreationFailsAndSaysSoOnce) {
  auto sink = std::make_shared<testing::CapturingLogSink>();
  core::setLogConfiguration({sink, core::LogLevel::kDebug, true});
  LinuxEventTapFactory factory;
  auto callback = [](const editor::TapEvent&) { return editor::TapVerdict::kPass; };
  EXPECT_EQ(factory.createTap(editor::TapLocation::kHid, callback), nullptr);
  EXPECT_EQ(factory.createTap(editor::TapLocation::kSession, callback), nullptr);
  core::setLogConfiguration({});
  ASSERT_EQ(sink->lines().size(), 1u);
  EXPECT_NE(sink->lines()[0].find("no session-wide keyboard event tap on Linux"), std::string::npos);
}

}  // namespace
}  // namespace zephyl::platform
