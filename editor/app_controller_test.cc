#include "editor/app_controller.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/in_memory_settings_store.h"
#include "editor/app_status_messages.h"
#include "editor/keyboard_consume_rules.h"
#include "editor/note_template_service.h"
#include "editor/us_key_layout.h"
#include "platform/recording/recording_platform.h"
#include "platform/testing/fake_clock.h"
#include "platform/testing/fake_main_queue.h"
#include "platform/testing/fake_script_runner.h"

namespace zephyl::editor {
namespace {

using core::JSONValue;
using platform::RecordingPlatform;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Runs actions at once, or, while `holding`, when the test says.
class HeldActionQueue : public ActionQueue {
 public:
  void post(std::function<void()> work) override {
    if (!holding) return work();
    pending_.push_back(std::move(work));
  }
  void runAll() {
    for (auto& work : std::exchange(pending_, {})) work();
  }
  bool holding = false;

 private:
  std::vector<std::function<void()>> pending_;
};

// The controller wired to the recording desktop. Statuses reach the display
// through the main queue, which the test drains, as the main thread would.
class AppControllerTest : public ::testing::Test {
 protected:
  AppControllerTest()
      : clock_(core::TimePoint{std::chrono::seconds(1767625449)}),  // 2026-01-05 15:04:09Z
        templates_(nullptr, &templateScripts_),
        formatter_("UTC"),
        slashSession_(templates_, formatter_),
        formatting_(platform_, platform_, platform_),
        paster_(platform_, platform_),
        controller_(AppControllerDependencies{settings_, clock_, uuids_, consumeStore_, platform_, platform_,
                                              platform_, formatting_, platform_, paster_, platform_,
                                              slashSession_, platform_, platform_, actions_, mainQueue_}) {
    settings_.setString("slashCommandDateFormat", "isoDate");
    settings_.setString("templateDateFormat", "germanDayMonthYear");
  }

  void startWithNotesInFront() {
    controller_.start();
    platform_.activate({std::string(kNotesBundleIdentifier), "Notes", 501});
    drain();
    platform_.clear();
  }

  // Each character one key press, forwarded as the keyboard monitor would.
  void type(std::string_view text) {
    for (auto key : UsKeyLayout::keyPresses(text)) {
      key.targetProcessIdentifier = 501;
      press(key);
    }
  }

  void press(const KeyInputEvent& key) {
    if (shouldForwardKey(key, consumeStore_.snapshot())) controller_.handleKey(key);
    drain();
  }

  void pressKey(uint16_t keyCode, std::string characters = {}, uint64_t flags = 0) {
    press({std::move(characters), keyCode, flags, 501, std::nullopt});
  }

  void drain() { mainQueue_.drain(); }

  // The recorded lines other than the panels', as compact JSON.
  std::vector<std::string> output() {
    std::vector<std::string> lines;
    for (const auto& entry : platform_.entries()) {
      if (entry.object()->front().first != "panel") lines.push_back(entry.serialized());
    }
    return lines;
  }

  static std::string status(std::string_view message) {
    return JSONValue(JSONValue::Object{{"status", message}}).serialized();
  }

  core::InMemorySettingsStore settings_;
  platform::testing::FakeClock clock_;
  RandomUuidGenerator uuids_{[] { return uint64_t{0}; }};  // the same identifier every time
  KeyboardConsumeStore consumeStore_;
  RecordingPlatform platform_;
  platform::testing::FakeScriptRunner templateScripts_;
  NoteTemplateService templates_;
  TemplateDateFormatter formatter_;
  SlashCommandSession slashSession_;
  NotesFormattingService formatting_;
  NoteTemplatePaster paster_;
  HeldActionQueue actions_;
  platform::testing::FakeMainQueue mainQueue_;
  AppController controller_;
};

TEST_F(AppControllerTest, TypedTriggersAndSlashDateRunInOrder) {
  startWithNotesInFront();
  type("## Plan\n[] milk\n/date");
  pressKey(kReturnKeyCode, "\r");

  EXPECT_THAT(output(),
              ElementsAre(R"({"action":"deleteBackward","count":3})",
                          R"({"action":"postShortcut","keyCode":4,"flags":1179648})",
                          status("Applied heading command"), R"({"action":"deleteBackward","count":3})",
                          R"({"action":"postShortcut","keyCode":37,"flags":1179648})",
                          status("Applied checklist command"), status("Slash command panel opened"),
                          R"({"action":"deleteBackward","count":5})",
                          R"({"action":"typeText","text":"2026-01-05"})", status("Inserted date and time")));
  EXPECT_FALSE(controller_.isSlashQueryActive());
  EXPECT_FALSE(consumeStore_.snapshot().slashQueryActive);
}

TEST_F(AppControllerTest, TriggersFireOnlyAtTheStartOfALineAndFollowTheirSettings) {
  startWithNotesInFront();
  type("see ## later\n");
  EXPECT_THAT(output(), IsEmpty());

  settings_.setBool("markdownTriggersEnabled", false);
  controller_.reloadSettings();
  type("# \n");
  EXPECT_THAT(output(), IsEmpty());

  settings_.setBool("markdownTriggersEnabled", true);
  type("【】 \n");
  EXPECT_THAT(output(), IsEmpty());  // full-width set still off
  settings_.setBool("fullWidthMarkdownTriggersEnabled", true);
  controller_.reloadSettings();
  type("【】 ");
  EXPECT_THAT(platform_.statuses(), ElementsAre("Applied checklist command"));
}

TEST_F(AppControllerTest, AFailedStepReplacesTheSuccessMessageAndNothingIsRetried) {
  startWithNotesInFront();
  platform_.setFailing("deleteBackward", true);
  type("# ");
  EXPECT_THAT(output(), ElementsAre(status("Could not remove markdown trigger")));  // no shortcut posted

  platform_.clear();
  platform_.setFailing("deleteBackward", false);
  platform_.setFailing("postShortcut", true);
  type("\n## ");
  EXPECT_THAT(output(),
              ElementsAre(R"({"action":"deleteBackward","count":3})", status("Could not apply formatting")));

  // A trigger applied through the menu: the script fails once and is not run again.
  platform_.clear();
  platform_.setFailing("runScript", true);
  type("\n> ");
  EXPECT_THAT(output(),
              ElementsAre(R"({"action":"deleteBackward","count":2})", status("Could not apply formatting")));
}

TEST_F(AppControllerTest, SlashPanelKeysNavigateRunAndClose) {
  startWithNotesInFront();
  type("/");
  ASSERT_TRUE(controller_.isSlashQueryActive());
  EXPECT_TRUE(consumeStore_.snapshot().slashQueryActive);
  type("ti");
  EXPECT_EQ(controller_.slashQuery(), "ti");
  const auto rows = controller_.slashRows();
  ASSERT_GE(rows.size(), 2u);
  // Down wraps around from the last row, Up back again.
  for (size_t i = 0; i < rows.size(); ++i) pressKey(kDownArrowKeyCode, "\xEF\x9C\x81");
  EXPECT_EQ(controller_.slashSelection(), 0u);
  pressKey(kUpArrowKeyCode, "\xEF\x9C\x80");
  EXPECT_EQ(controller_.slashSelection(), rows.size() - 1);
  pressKey(kDownArrowKeyCode, "\xEF\x9C\x81");
  pressKey(kDownArrowKeyCode, "\xEF\x9C\x81");
  platform_.clear();
  pressKey(kKeypadEnterKeyCode, "\x03");
  // The slash and "ti" go, then the second row's command runs.
  ASSERT_EQ(rows[1].identifier, "time");
  EXPECT_THAT(output(),
              ElementsAre(R"({"action":"deleteBackward","count":3})",
                          R"({"action":"typeText","text":"15:04"})", status("Inserted date and time")));

  platform_.clear();
  type("/x");
  pressKey(kEscapeKeyCode, "\x1B");
  type("/");
  pressKey(kDeleteKeyCode, "\x7F");  // deleting the slash ends the query
  type("and/zz");                    // a query that finds nothing is prose, and Return reaches the note
  EXPECT_FALSE(shouldConsumeKey({"\r", kReturnKeyCode, 0, 501, std::nullopt}, consumeStore_.snapshot()));
  pressKey(kReturnKeyCode, "\r");
  const std::string opened = status("Slash command panel opened"),
                    closed = status("Slash command panel closed");
  EXPECT_THAT(output(), ElementsAre(opened, closed, opened, closed, opened, closed));
}

// Keys the monitor would never forward still must not act if they arrive:
// the controller applies its own routing order.
TEST_F(AppControllerTest, RoutingOrderHoldsForKeysHandedOverDirectly) {
  startWithNotesInFront();
  type("/ti");
  ASSERT_TRUE(controller_.isSlashQueryActive());
  // A global shortcut wins over the slash panel's keys and ends the query.
  const auto global = *controller_.settings().globalQuickOpenShortcut;
  controller_.handleKey({"", global.keyCode, global.modifierFlags, 501, std::nullopt});
  EXPECT_FALSE(controller_.isSlashQueryActive());

  // A Notes shortcut while another process has keyboard focus does nothing.
  const auto palette = *controller_.settings().commandPaletteShortcut;
  controller_.handleKey({"", palette.keyCode, palette.modifierFlags, 501, 777});
  EXPECT_FALSE(consumeStore_.snapshot().commandPalettePresented);

  // Keys with Command held are no typed text: no trigger, no query.
  controller_.handleKey({"\n", kReturnKeyCode, 0, 501, std::nullopt});
  for (auto key : UsKeyLayout::keyPresses("# /")) {
    key.modifierFlags |= kCommandModifier;
    controller_.handleKey(key);
  }
  drain();
  EXPECT_FALSE(controller_.isSlashQueryActive());
  EXPECT_THAT(platform_.statuses(), ElementsAre("Slash command panel opened", "Quick open opened"));
}

TEST_F(AppControllerTest, AskAIOpensTheAssistantOnlyAfterTheQueryIsRemoved) {
  startWithNotesInFront();
  actions_.holding = true;
  platform_.moveFocus(
      {"AXTextArea", "", true, {}, "Summarise this /ask", "x-coredata://S/ICNote/p1", "Plan"});
  for (auto key : UsKeyLayout::keyPresses("/ask\n")) controller_.handleKey(key);
  drain();
  platform_.clear();
  actions_.runAll();
  EXPECT_THAT(platform_.entries(), ElementsAre(JSONValue::parse(R"({"action":"deleteBackward","count":4})")));
  drain();
  EXPECT_THAT(platform_.entries(),
              ElementsAre(JSONValue::parse(R"({"action":"deleteBackward","count":4})"),
                          JSONValue::parse(R"({"panel":"assistant","prompt":"Summarise this ",)"
                                           R"("noteID":"x-coredata://S/ICNote/p1"})"),
                          JSONValue::parse(R"({"status":"AI panel opened with current note context"})")));
}

TEST_F(AppControllerTest, TriggersAndSlashNeedTheNoteBodyAndSlashItsSetting) {
  startWithNotesInFront();
  platform_.moveFocus({"AXTextField", "AXSearchField", false, {}, {}, {}, {}});
  type("# /");
  EXPECT_FALSE(controller_.isSlashQueryActive());
  EXPECT_THAT(output(), IsEmpty());

  platform_.moveFocus({"AXTextArea", "", true, {}, {}, {}, {}});
  settings_.setBool("slashCommandsEnabled", false);
  controller_.reloadSettings();
  type("/");
  EXPECT_FALSE(controller_.isSlashQueryActive());
  EXPECT_THAT(platform_.statuses(), ElementsAre("Notes editor focused"));
}

TEST_F(AppControllerTest, FocusLeavingTheNoteBodyOrNotesLeavingTheFrontClosesTheQuery) {
  startWithNotesInFront();
  type("/ta");
  platform_.moveFocus({"AXTextField", "", false, {}, {}, {}, {}});
  EXPECT_FALSE(controller_.isSlashQueryActive());
  EXPECT_FALSE(consumeStore_.snapshot().isNotesTextAreaFocusedCached);

  platform_.moveFocus({"AXTextArea", "", true, {}, {}, {}, {}});
  type("/ta");
  platform_.activate({"com.apple.Safari", "Safari", 600});
  EXPECT_FALSE(controller_.isSlashQueryActive());
  EXPECT_THAT(platform_.statuses(),
              ElementsAre("Slash command panel opened", "Slash command panel closed", "Notes editor focused",
                          "Slash command panel opened", "Waiting for Apple Notes"));
  EXPECT_FALSE(consumeStore_.snapshot().isNotesFrontmost);
  EXPECT_EQ(consumeStore_.snapshot().notesProcessIdentifier, std::nullopt);
}

TEST_F(AppControllerTest, TemplatesArePastedExpandedAndFailuresSaySo) {
  // Read once per slash session: both sessions below find the template.
  for (int session = 0; session < 2; ++session) {
    templateScripts_.queueResult(std::string("folder\x1F"
                                             "F1\x1FTemplates\x1FiCloud\x1E") +
                                 "template\x1F"
                                 "F1\x1FTemplates\x1FiCloud\x1Fn1\x1FStandup\x1F\x1F"
                                 "<div>Due {{date}} {{1st}}</div>");
  }
  startWithNotesInFront();
  type("/standup");
  ASSERT_FALSE(controller_.slashRows().empty());
  EXPECT_EQ(controller_.slashRows()[0].kind, SlashCommandKind::kInsertTemplate);
  platform_.setContents({{std::string(kPasteboardPlainTextType), "kept"}});
  platform_.clear();
  pressKey(kReturnKeyCode, "\r");
  EXPECT_THAT(output(), ElementsAre(R"({"action":"deleteBackward","count":8})",
                                    R"({"action":"paste","html":"<div>Due 05.01.2026 {{1st}}</div>"})",
                                    status("Inserted template")));
  EXPECT_THAT(platform_.contents(),
              ElementsAre(PasteboardItem{std::string(kPasteboardPlainTextType), "kept"}));

  platform_.clear();
  platform_.setFailing("paste", true);
  type("\n/standup");
  pressKey(kReturnKeyCode, "\r");
  EXPECT_EQ(platform_.statuses().back(), "Could not paste Markdown");
}

TEST_F(AppControllerTest, ShortcutsOpenTheirPanelsWhereTheyApply) {
  controller_.start();
  const auto& defaults = controller_.settings();
  auto pressShortcut = [&](const std::optional<QuickOpenKeyboardShortcut>& shortcut,
                           std::optional<int32_t> focus = std::nullopt) {
    press({"", shortcut->keyCode, shortcut->modifierFlags | 0x100 /* device bits */, 501, focus});
  };

  // Notes is not in front: only the global shortcuts act.
  pressShortcut(defaults.commandPaletteShortcut);
  pressShortcut(defaults.globalQuickOpenShortcut);
  EXPECT_THAT(platform_.statuses(), ElementsAre("Quick open opened"));

  platform_.activate({std::string(kNotesBundleIdentifier), "Notes", 501});
  drain();
  platform_.clear();
  pressShortcut(defaults.commandPaletteShortcut, 777);  // focus is in another process
  EXPECT_THAT(platform_.statuses(), IsEmpty());
  pressShortcut(defaults.commandPaletteShortcut, 501);
  EXPECT_THAT(platform_.statuses(), ElementsAre("Command palette opened"));
  EXPECT_TRUE(consumeStore_.snapshot().commandPalettePresented);

  // A shortcut the user switched off does nothing; a changed one works.
  controller_.setPanelVisible(AppPanel::kCommandPalette, false);
  settings_.setJSONValue("quickOpenShortcut", nullptr);
  settings_.setJSONValue("commandPaletteShortcut",
                         JSONValue::Object{{"keyCode", 40}, {"modifierFlags", 0x100000}, {"keyLabel", "K"}});
  controller_.reloadSettings();
  platform_.clear();
  pressShortcut(defaults.quickOpenShortcut);
  EXPECT_THAT(platform_.statuses(), IsEmpty());
  EXPECT_EQ(consumeStore_.snapshot().quickOpenShortcut, std::nullopt);
  press({"k", 40, 0x100000, 501, std::nullopt});
  EXPECT_THAT(platform_.statuses(), ElementsAre("Command palette opened"));
}

TEST_F(AppControllerTest, EscapeClosesTheInnermostInlinePanelFirst) {
  startWithNotesInFront();
  controller_.setPanelVisible(AppPanel::kInlineToolbar, true);
  controller_.setPanelVisible(AppPanel::kInlineAI, true);
  pressKey(kEscapeKeyCode, "\x1B");
  EXPECT_FALSE(consumeStore_.snapshot().inlineAIShowing);
  EXPECT_TRUE(consumeStore_.snapshot().inlineToolbarShowing);
  pressKey(kEscapeKeyCode, "\x1B");
  EXPECT_FALSE(consumeStore_.snapshot().inlineToolbarShowing);
  EXPECT_THAT(platform_.entries(),
              ElementsAre(JSONValue::parse(R"({"panel":"inlineAI","visible":false})"),
                          JSONValue::parse(R"({"panel":"inlineToolbar","visible":false})")));
}

TEST_F(AppControllerTest, PaletteAndQuickOpenActionsReportSuccessOrFailure) {
  startWithNotesInFront();
  controller_.runPaletteCommand(NotesFormatCommand::kNumberedList);
  platform_.setFailing("activateApplication", true);
  controller_.runPaletteCommand(NotesFormatCommand::kBold);
  controller_.openQuickOpenItem(NotesItemKind::kFolder, "x-coredata://S/ICFolder/p3");
  platform_.setFailing("runScript", true);
  controller_.openQuickOpenItem(NotesItemKind::kNote, "x-coredata://S/ICNote/p9");
  drain();
  EXPECT_THAT(platform_.statuses(),
              ElementsAre("Applied numbered list", "Could not focus Apple Notes",
                          "Opened folder in Apple Notes", "Could not open item in Apple Notes"));
}

TEST_F(AppControllerTest, StatusesArriveThroughTheMainQueue) {
  startWithNotesInFront();
  for (auto key : UsKeyLayout::keyPresses("# ")) controller_.handleKey(key);
  EXPECT_THAT(platform_.statuses(), IsEmpty());
  EXPECT_EQ(mainQueue_.drain(), 1u);
  EXPECT_THAT(platform_.statuses(), ElementsAre("Applied title command"));
}

TEST_F(AppControllerTest, AccessibilityPermissionMessagesFollowItsChanges) {
  platform_.setTrusted(false);
  controller_.start();
  EXPECT_FALSE(controller_.refreshAccessibilityPermission());  // unchanged: no second message
  // Notes in front changes nothing the user can do yet: the permission stays the message.
  platform_.activate({std::string(kNotesBundleIdentifier), "Notes", 501});
  EXPECT_FALSE(consumeStore_.snapshot().isNotesTextAreaFocusedCached);
  platform_.setTrusted(true);
  EXPECT_TRUE(controller_.refreshAccessibilityPermission());
  EXPECT_TRUE(consumeStore_.snapshot().isNotesTextAreaFocusedCached);  // Notes observed at once
  type("/");
  EXPECT_TRUE(controller_.isSlashQueryActive());
  controller_.handleEventTapRevoked(EventTapRevocationReason::kAccessibilityRevoked);
  EXPECT_FALSE(controller_.isSlashQueryActive());
  controller_.handleEventTapRevoked(EventTapRevocationReason::kExecutableReplaced);
  const std::string required = "Accessibility is required for Apple Notes and keyboard shortcuts";
  EXPECT_THAT(
      platform_.statuses(),
      ElementsAre(required, required, "Accessibility allowed", "Slash command panel opened", required,
                  "Zephyl — Zephyl was reinstalled or updated. Restart to restore keyboard shortcuts."));
}

TEST_F(AppControllerTest, TheAssistantOpensWithWhatNotesShows) {
  controller_.start();
  controller_.openAssistant();
  platform_.activate({std::string(kNotesBundleIdentifier), "Notes", 501});
  platform_.moveFocus({"AXTextArea", "", true, "two words", "the line", "x-coredata://S/ICNote/p1", "Plan"});
  controller_.openAssistant();
  EXPECT_THAT(platform_.statuses(), ElementsAre("AI panel opened without note text", "Apple Notes is active",
                                                "AI panel opened with note context and selection"));
  platform_.moveFocus({"AXTextArea", "", true, {}, "Ask about this", "x-coredata://S/ICNote/p1", "Plan"});
  platform_.clear();
  type("/ask");
  pressKey(kReturnKeyCode, "\r");
  EXPECT_THAT(platform_.statuses(),
              ElementsAre("Slash command panel opened", "AI panel opened with current note context"));
  platform_.clear();
  settings_.setString("menuBarIconClickAction", "openQuickOpen");
  controller_.reloadSettings();
  controller_.menuBarIconClicked();
  EXPECT_THAT(platform_.statuses(), ElementsAre("Quick open opened"));
}

}  // namespace
}  // namespace zephyl::editor
