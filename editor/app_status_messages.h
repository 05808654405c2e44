// The controller's status lines. Each operation ends in exactly one of them; a
// failure message replaces the success message.
#pragma once

#include <string_view>

#include "editor/notes_format_command.h"

namespace zephyl::editor::status {

inline constexpr std::string_view kCommandPaletteOpened = "Command palette opened";
inline constexpr std::string_view kSlashPanelOpened = "Slash command panel opened";
inline constexpr std::string_view kSlashPanelClosed = "Slash command panel closed";
inline constexpr std::string_view kQuickOpenOpened = "Quick open opened";
inline constexpr std::string_view kOpenedNote = "Opened note in Apple Notes";
inline constexpr std::string_view kOpenedFolder = "Opened folder in Apple Notes";
inline constexpr std::string_view kCouldNotOpenItem = "Could not open item in Apple Notes";
inline constexpr std::string_view kCouldNotApplyFormatting = "Could not apply formatting";
inline constexpr std::string_view kCouldNotFocusNotes = "Could not focus Apple Notes";
inline constexpr std::string_view kCouldNotRemoveTrigger = "Could not remove markdown trigger";
inline constexpr std::string_view kNoteLinkTriggerPrefix = "Note link trigger: ";
inline constexpr std::string_view kCouldNotReplaceNoteLinkTrigger = "Could not replace note link trigger";
inline constexpr std::string_view kInsertedTemplate = "Inserted template";
inline constexpr std::string_view kCouldNotPasteMarkdown = "Could not paste Markdown";
inline constexpr std::string_view kInsertedDateAndTime = "Inserted date and time";
inline constexpr std::string_view kCouldNotInsertDate = "Could not insert date";
inline constexpr std::string_view kCouldNotInsertTime = "Could not insert time";
inline constexpr std::string_view kCouldNotInsertDateAndTime = "Could not insert date and time";
inline constexpr std::string_view kCouldNotCopySelectedNote = "Could not copy selected note";
inline constexpr std::string_view kCouldNotExportSelectedNote = "Could not export selected note";
inline constexpr std::string_view kCouldNotSearchNotes = "Could not search Apple Notes";
inline constexpr std::string_view kTableOfContentsOpened = "Table of contents opened";
inline constexpr std::string_view kJumpedToHeader = "Jumped to header";
inline constexpr std::string_view kCouldNotJumpToHeader = "Could not jump to header";
inline constexpr std::string_view kOpenedBacklinkSource = "Opened backlink source";
inline constexpr std::string_view kCouldNotOpenBacklinkSource =
    "Zephyl could not open this note in Apple Notes.";
inline constexpr std::string_view kAssistantOpenedWithNoteContext =
    "AI panel opened with current note context";
inline constexpr std::string_view kAssistantOpenedWithoutNoteText = "AI panel opened without note text";
inline constexpr std::string_view kAssistantOpenedWithNoteContextAndPrefix =
    "AI panel opened with note context and ";
inline constexpr std::string_view kSelectNoteFirst = "Select a note in Apple Notes first.";
inline constexpr std::string_view kSelectTextFirst = "Select text in another app first";
inline constexpr std::string_view kUseInlineToolbarForSkills = "Use the Notes inline toolbar for Skills";
inline constexpr std::string_view kCheckingCommand = "Checking whether this command is available";

// Presence and permission.
inline constexpr std::string_view kWaitingForNotes = "Waiting for Apple Notes";
inline constexpr std::string_view kNotesActive = "Apple Notes is active";
inline constexpr std::string_view kNotesEditorFocused = "Notes editor focused";
inline constexpr std::string_view kAccessibilityAllowed = "Accessibility allowed";
inline constexpr std::string_view kAccessibilityRequired =
    "Accessibility is required for Apple Notes and keyboard shortcuts";
inline constexpr std::string_view kAccessibilityRequiredForPanelKeys =
    "Accessibility is required for arrow keys, Enter, and Esc";
inline constexpr std::string_view kPermissionGuide =
    "Please open the Privacy & Security panel in System Settings and enable Zephyl in the Accessibility "
    "section.";
inline constexpr std::string_view kReinstalled =
    "Zephyl — Zephyl was reinstalled or updated. Restart to restore keyboard shortcuts.";

// Settings side.
inline constexpr std::string_view kGrantDatabaseAccess = "Grant Apple Notes Database Access";
inline constexpr std::string_view kSelectNotesFolder =
    "Select the Apple Notes folder that Zephyl opened for you";
inline constexpr std::string_view kDatabaseAccessAllowed = "Apple Notes database access allowed";
inline constexpr std::string_view kCouldNotSaveDatabaseAccess = "Could not save Apple Notes database access";
inline constexpr std::string_view kCouldNotUpdateLaunchAtLogin =
    "Could not update launch at login. Please try again in System Settings.";
inline constexpr std::string_view kLanguageChangeNeedsRestart =
    "Language changes apply after restarting Zephyl.";
inline constexpr std::string_view kCouldNotRestart =
    "Could not restart Zephyl. Please quit and open it again.";

// The success message of applying `command`.
constexpr std::string_view appliedFormattingMessage(NotesFormatCommand command) {
  switch (command) {
    case NotesFormatCommand::kTitle:
      return "Applied title command";
    case NotesFormatCommand::kHeading:
      return "Applied heading command";
    case NotesFormatCommand::kSubheading:
      return "Applied subheading command";
    case NotesFormatCommand::kBody:
      return "Applied body command";
    case NotesFormatCommand::kChecklist:
      return "Applied checklist command";
    case NotesFormatCommand::kMonostyled:
      return "Applied monostyled command";
    case NotesFormatCommand::kQuote:
      return "Applied quote command";
    case NotesFormatCommand::kBulletedList:
      return "Applied bulleted list";
    case NotesFormatCommand::kDashedList:
      return "Applied dashed list";
    case NotesFormatCommand::kNumberedList:
      return "Applied numbered list";
    case NotesFormatCommand::kStrikethrough:
      return "Applied strikethrough";
    case NotesFormatCommand::kUnderline:
      return "Applied underline";
    case NotesFormatCommand::kHighlight:
      return "Applied highlight";
    case NotesFormatCommand::kAddLink:
      return "Opened link editor";
    // Reached from the palette and the toolbar only; named in the same manner.
    case NotesFormatCommand::kBold:
      return "Applied bold";
    case NotesFormatCommand::kItalic:
      return "Applied italic";
    case NotesFormatCommand::kTable:
      return "Inserted table";
  }
  return "Applied formatting";
}

}  // namespace zephyl::editor::status
