// The controller wired to the Linux desktop: nothing that needs Apple Notes can
// work here, and each operation says so in its status instead of pretending.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "core/in_memory_settings_store.h"
#include "editor/app_controller.h"
#include "editor/note_template_service.h"
#include "platform/linux/linux_accessibility.h"
#include "platform/linux/linux_note_text_editor.h"
#include "platform/linux/linux_pasteboard.h"
#include "platform/linux/linux_script_runner.h"
#include "platform/linux/linux_shortcut_poster.h"
#include "platform/linux/linux_workspace.h"
#include "platform/linux/system_clock.h"
#include "platform/recording/recording_platform.h"
#include "platform/testing/fake_main_queue.h"

namespace zephyl::platform {
namespace {

using ::testing::ElementsAre;

TEST(LinuxDesktop, TheControllerReportsWhatLinuxCannotDo) {
  core::InMemorySettingsStore settings;
  SystemClock clock;
  editor::RandomUuidGenerator uuids;
  editor::KeyboardConsumeStore consumeStore;
  LinuxWorkspace workspace;
  LinuxAccessibility accessibility;
  LinuxShortcutPoster poster;
  LinuxScriptRunner scripts;
  LinuxNoteTextEditor textEditor;
  LinuxPasteboard pasteboard;
  RecordingPlatform shell;  // panels and the status line only
  editor::NoteTemplateService templates(nullptr, &scripts);
  editor::TemplateDateFormatter formatter;
  editor::SlashCommandSession slashSession(templates, formatter);
  editor::NotesFormattingService formatting(poster, scripts, accessibility);
  editor::NoteTemplatePaster paster(pasteboard, poster);
  editor::ImmediateActionQueue actions;
  testing::FakeMainQueue mainQueue;
  editor::AppController controller({settings, clock, uuids, consumeStore, workspace, accessibility,
                                    accessibility, formatting, textEditor, paster, scripts, slashSession,
                                    shell, shell, actions, mainQueue});

  controller.start();
  EXPECT_FALSE(consumeStore.snapshot().isNotesFrontmost);
  controller.runPaletteCommand(editor::NotesFormatCommand::kHeading);
  controller.openQuickOpenItem(editor::NotesItemKind::kNote, "x-coredata://S/ICNote/p1");
  const auto& commands = editor::builtInSlashCommands();
  const auto date =
      std::find_if(commands.begin(), commands.end(), [](const auto& c) { return c.identifier == "date"; });
  ASSERT_NE(date, commands.end());
  controller.runSlashCommand(*date);  // as the panel runs it
  mainQueue.drain();
  EXPECT_THAT(shell.statuses(),
              ElementsAre("Accessibility is required for Apple Notes and keyboard shortcuts",
                          "Could not focus Apple Notes", "Could not open item in Apple Notes",
                          "Could not insert date"));
  EXPECT_FALSE(workspace.frontmostApplication());
  EXPECT_FALSE(accessibility.observe(501, [](const auto&) {}));
  EXPECT_FALSE(accessibility.readContext());
}

}  // namespace
}  // namespace zephyl::platform
