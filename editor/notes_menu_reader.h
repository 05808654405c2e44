// Reads Apple Notes' menus through the accessibility interface: each item's
// title, check mark and shortcut, with the items of its submenu.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace zephyl::editor {

// AXMenuItemCmdModifiers bits; 0 means Command alone.
inline constexpr int kMenuModifierShift = 1;
inline constexpr int kMenuModifierOption = 2;
inline constexpr int kMenuModifierControl = 4;
inline constexpr int kMenuModifierNoCommand = 8;

struct AccessibilityMenuItem {
  std::string title;             // AXTitle
  std::string markCharacter;     // AXMenuItemMarkChar; non-empty when checked
  std::string commandCharacter;  // AXMenuItemCmdChar
  int commandModifiers = 0;      // AXMenuItemCmdModifiers
  std::vector<AccessibilityMenuItem> submenu;
};

class NotesMenuReader {
 public:
  virtual ~NotesMenuReader() = default;

  // The items of the first top-level menu of Notes' menu bar whose AXTitle is
  // one of `menuTitles`, or nullopt when there is none. Throws AccessibilityError.
  virtual std::optional<std::vector<AccessibilityMenuItem>> readMenu(
      const std::vector<std::string>& menuTitles) = 0;
};

}  // namespace zephyl::editor
