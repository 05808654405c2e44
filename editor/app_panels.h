// The panels of the user interface shell that the controller opens and closes.
// The shell reports back when a panel appears or goes (AppController::
// setPanelVisible), since the user can also close them with the mouse.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "editor/notes_accessibility_observer.h"
#include "editor/slash_command.h"

namespace zephyl::editor {

// The panels whose visibility decides which keys the keyboard monitor takes.
enum class AppPanel {
  kQuickOpen,
  kCommandPalette,
  kInlineAI,
  kInlineToolbar,
  kInlineToolbarPrompt,  // the toolbar's prompt field has focus
  kSkillsLauncher,
};

// "quickOpen", "commandPalette", ...
std::string_view appPanelName(AppPanel panel);
std::optional<AppPanel> appPanelFromName(std::string_view name);

// What the assistant panel opens with.
struct AssistantHandOff {
  std::optional<NotesAccessibilityContext> noteContext;
  std::string prompt;  // typed by the user before the panel opened; may be empty
};

class AppPanels {
 public:
  virtual ~AppPanels() = default;

  // Shows or refreshes the slash-command panel at the caret. Main thread, as all.
  virtual void showSlashPanel(const std::vector<SlashCommand>& rows, size_t selectedIndex) = 0;
  virtual void hideSlashPanel() = 0;

  virtual void showQuickOpen() = 0;
  virtual void showCommandPalette() = 0;
  virtual void showAssistant(const AssistantHandOff& handOff) = 0;
  virtual void showSkillsLauncher() = 0;
  virtual void showStatusMenu() = 0;

  // Closes `panel` when it is showing.
  virtual void close(AppPanel panel) = 0;
};

}  // namespace zephyl::editor
