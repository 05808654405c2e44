#include "editor/notes_formatting_service.h"

#include <gtest/gtest.h>

#include <thread>

#include "editor/accessibility_error.h"
#include "editor/notes_formatting_error.h"
#include "editor/notes_menu_click_script.h"
#include "editor/script_error.h"
#include "platform/testing/fake_accessibility.h"
#include "platform/testing/fake_script_runner.h"
#include "platform/testing/fake_shortcut_poster.h"

namespace zephyl::editor {
namespace {

using platform::testing::FakeAccessibility;
using C = NotesFormatCommand;

class NotesFormattingServiceTest : public ::testing::Test {
 protected:
  platform::testing::FakeShortcutPoster poster_;
  platform::testing::FakeScriptRunner scripts_;
  FakeAccessibility accessibility_;
  NotesFormattingService service_{poster_, scripts_, accessibility_};
};

template <typename Body>
std::optional<NotesFormattingError::Code> formattingErrorOf(Body body) {
  try {
    body();
  } catch (const NotesFormattingError& error) {
    return error.code();
  }
  return std::nullopt;
}

TEST_F(NotesFormattingServiceTest, TriggerCommandsPostTheirShortcutAndOthersClickTheirMenuItem) {
  service_.apply(C::kHeading);
  service_.apply(C::kQuote);
  EXPECT_EQ(poster_.posted(), (std::vector<PostedShortcut>{{4, 0x120000}, {39, 0x100000}}));
  EXPECT_TRUE(scripts_.runs().empty());

  service_.apply(C::kBold);
  service_.apply(C::kAddLink);
  const auto runs = scripts_.runs();
  ASSERT_EQ(runs.size(), 2u);
  EXPECT_EQ(runs[0].source, NotesMenuClickScript::forCommand(C::kBold));
  EXPECT_EQ(runs[0].taskLabel, "click Notes formatting menu");
  EXPECT_EQ(runs[1].source, NotesMenuClickScript::forCommand(C::kAddLink));
  EXPECT_EQ(poster_.posted().size(), 2u);

  // A trigger command can be clicked too (from the palette, say).
  service_.clickMenuItem(C::kHeading);
  EXPECT_EQ(scripts_.runs().back().source, NotesMenuClickScript::forCommand(C::kHeading));
}

TEST_F(NotesFormattingServiceTest, FailuresBecomeTheirErrorsAndAreNotRetried) {
  poster_.setFailing(true);
  EXPECT_EQ(formattingErrorOf([&] { service_.apply(C::kTitle); }),
            NotesFormattingError::Code::kShortcutPostFailed);
  EXPECT_EQ(formattingErrorOf([&] { service_.postShortcut(C::kBold); }),
            NotesFormattingError::Code::kShortcutPostFailed);
  EXPECT_EQ(NotesFormattingError(NotesFormattingError::Code::kShortcutPostFailed).description(),
            "Could not post Notes formatting keyboard shortcut");

  // A script's own error message names the level that was missing.
  const std::vector<std::pair<std::string, NotesFormattingError::Code>> raised = {
      {"Notes format menu is unavailable", NotesFormattingError::Code::kFormatMenuUnavailable},
      {"Notes format menu item is unavailable", NotesFormattingError::Code::kFormatMenuItemUnavailable},
      {"Notes font menu is unavailable", NotesFormattingError::Code::kFontMenuUnavailable},
      {"Notes font menu item is unavailable", NotesFormattingError::Code::kFontMenuItemUnavailable},
      {"Notes edit menu is unavailable", NotesFormattingError::Code::kEditMenuUnavailable},
      {"Notes link menu item is unavailable", NotesFormattingError::Code::kLinkMenuItemUnavailable},
  };
  for (const auto& [message, code] : raised) {
    scripts_.setFailure(ScriptError(ScriptError::Code::kExecutionFailed, message));
    EXPECT_EQ(formattingErrorOf([&] { service_.apply(C::kItalic); }), code) << message;
    EXPECT_EQ(NotesFormattingError::text(code), message);
  }
  const size_t runsBefore = scripts_.runs().size();

  // Anything else is the runner's own failure, passed on as it is.
  scripts_.setFailure(ScriptError(ScriptError::Code::kUnavailable));
  EXPECT_THROW(service_.apply(C::kTable), ScriptError);
  EXPECT_EQ(scripts_.runs().size(), runsBefore + 1);
}

AccessibilityMenuItem item(std::string title, bool checked, std::string key = "", int modifiers = 0) {
  return AccessibilityMenuItem{std::move(title), checked ? "✓" : "", std::move(key), modifiers, {}};
}

TEST_F(NotesFormattingServiceTest, ActiveCommandsComeFromCheckMarksOfTheFormatMenuAndItsFontSubmenu) {
  AccessibilityMenuItem font = item("Police", false);
  font.submenu = {item("Gras", true), item("Italique", false), item("Highlight", true)};
  accessibility_.setMenuBar({
      {"Fichier", {item("Heading", true)}},
      {"Format",
       {item("Title", false), item("Heading", true), item("Table", true), item("Bold", true), font,
        // A title the table does not know is recognised by Notes' shortcut.
        item("見出し未知", true, "J", kMenuModifierShift),
        item("Checklist", false, "L", kMenuModifierShift)}},
  });
  EXPECT_EQ(service_.readActiveCommands(),
            (std::set<C>{C::kHeading, C::kSubheading, C::kBold, C::kHighlight}));

  accessibility_.setMenuBar({{"フォーマット", {item("Body", true)}}});
  EXPECT_EQ(service_.readActiveCommands(), (std::set<C>{C::kBody}));

  accessibility_.setMenuBar({{"Window", {item("Body", true)}}});
  EXPECT_EQ(formattingErrorOf([&] { service_.readActiveCommands(); }),
            NotesFormattingError::Code::kFormatMenuUnavailable);
}

TEST_F(NotesFormattingServiceTest, ReadsRunOneAtATimeOnTheServiceExecutor) {
  accessibility_.setMenuBar({{"Format", {item("Body", true)}}});
  std::mutex mutex;
  std::set<std::thread::id> readerThreads;
  accessibility_.setDuringRead([&] {
    std::lock_guard lock(mutex);
    readerThreads.insert(std::this_thread::get_id());
  });
  std::vector<std::thread> callers;
  std::vector<std::thread::id> callerIds;
  for (int i = 0; i < 4; ++i) {
    callers.emplace_back([&] {
      for (int k = 0; k < 10; ++k) EXPECT_EQ(service_.readActiveCommands(), (std::set<C>{C::kBody}));
    });
  }
  for (auto& caller : callers) {
    callerIds.push_back(caller.get_id());
    caller.join();
  }
  ASSERT_EQ(readerThreads.size(), 1u);
  EXPECT_EQ(std::find(callerIds.begin(), callerIds.end(), *readerThreads.begin()), callerIds.end());
  EXPECT_EQ(accessibility_.maximumConcurrentReads(), 1);
}

}  // namespace
}  // namespace zephyl::editor
