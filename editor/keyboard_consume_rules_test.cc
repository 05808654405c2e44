#include "editor/keyboard_consume_rules.h"

#include <gtest/gtest.h>

#include <functional>

namespace zephyl::editor {
namespace {

constexpr int32_t kNotesPid = 501;
constexpr uint16_t kKeyA = 0;
constexpr uint16_t kKeyO = 31;
constexpr uint16_t kKeyP = 35;
constexpr uint16_t kKeyK = 40;
constexpr uint16_t kSpace = 49;
constexpr uint64_t kCapsLock = 0x10000;

KeyboardConsumeSnapshot notesInFront() {
  KeyboardConsumeSnapshot snapshot;
  snapshot.commandPaletteShortcut = QuickOpenKeyboardShortcut{kKeyP, kCommandModifier | kShiftModifier, "P"};
  snapshot.quickOpenShortcut = QuickOpenKeyboardShortcut{kKeyO, kCommandModifier, "O"};
  snapshot.globalQuickOpenShortcut =
      QuickOpenKeyboardShortcut{kSpace, kControlModifier | kOptionModifier, "Space"};
  snapshot.assistantShortcut = QuickOpenKeyboardShortcut{kSpace, kOptionModifier, "Space"};
  snapshot.globalSkillsLauncherShortcut =
      QuickOpenKeyboardShortcut{kKeyK, kControlModifier | kOptionModifier, "K"};
  snapshot.isNotesFrontmost = true;
  snapshot.notesProcessIdentifier = kNotesPid;
  return snapshot;
}

KeyInputEvent key(uint16_t code, uint64_t flags = 0, std::optional<int32_t> target = std::nullopt,
                  std::optional<int32_t> focus = std::nullopt) {
  return KeyInputEvent{"", code, flags, target, focus};
}

struct RuleCase {
  const char* name;
  std::function<void(KeyboardConsumeSnapshot&)> setUp;
  KeyInputEvent event;
  bool forwarded;
  bool consumed;
};

TEST(KeyboardConsumeRules, ForwardAndConsumeFollowTheirRuleOrder) {
  auto none = [](KeyboardConsumeSnapshot&) {};
  auto slashInBody = [](KeyboardConsumeSnapshot& s) {
    s.slashQueryActive = true;
    s.isNotesTextAreaFocusedCached = true;
  };
  auto slashElsewhere = [](KeyboardConsumeSnapshot& s) { s.slashQueryActive = true; };
  auto palette = [](KeyboardConsumeSnapshot& s) { s.commandPalettePresented = true; };
  auto notesBehind = [](KeyboardConsumeSnapshot& s) { s.isNotesFrontmost = false; };
  auto promptFocused = [](KeyboardConsumeSnapshot& s) {
    s.inlineToolbarShowing = true;
    s.inlineToolbarPromptFocused = true;
  };

  const std::vector<RuleCase> cases = {
      {"plain letter", none, key(kKeyA), true, false},
      {"Shift+letter is typed text", none, key(kKeyA, kShiftModifier), true, false},
      {"Caps Lock is no command modifier", none, key(kKeyA, kCapsLock), true, false},
      {"Command+letter", none, key(kKeyA, kCommandModifier), false, false},
      {"Control+letter", none, key(kKeyA, kControlModifier), false, false},
      {"Option+letter", none, key(kKeyA, kOptionModifier), false, false},
      {"Quick Open shortcut", none, key(kKeyO, kCommandModifier), true, true},
      {"Quick Open shortcut with Caps Lock still matches", none, key(kKeyO, kCommandModifier | kCapsLock),
       true, true},
      {"Quick Open with an extra Shift is another shortcut", none,
       key(kKeyO, kCommandModifier | kShiftModifier), false, false},
      {"Quick Open while Notes is behind", notesBehind, key(kKeyO, kCommandModifier), false, false},
      {"global Quick Open while Notes is behind", notesBehind,
       key(kSpace, kControlModifier | kOptionModifier), true, true},
      {"assistant shortcut over the palette", palette, key(kSpace, kOptionModifier), true, true},
      {"skills launcher shortcut", notesBehind, key(kKeyK, kControlModifier | kOptionModifier), true, true},
      {"letter while Notes is behind", notesBehind, key(kKeyA), false, false},
      {"key addressed to another process", none, key(kKeyA, 0, 777), false, false},
      {"key addressed to Notes", none, key(kKeyA, 0, kNotesPid), true, false},
      {"shortcut while focus is in another process", none, key(kKeyO, kCommandModifier, std::nullopt, 777),
       false, false},
      {"shortcut while focus is in Notes", none, key(kKeyO, kCommandModifier, std::nullopt, kNotesPid), true,
       true},
      {"slash query: Up", slashInBody, key(kUpArrowKeyCode), true, true},
      {"slash query: Down", slashInBody, key(kDownArrowKeyCode), true, true},
      {"slash query: Return", slashInBody, key(kReturnKeyCode), true, true},
      {"slash query: keypad Enter", slashInBody, key(kKeypadEnterKeyCode), true, true},
      {"slash query: Escape", slashInBody, key(kEscapeKeyCode), true, true},
      {"slash query: typed letter reaches Notes", slashInBody, key(kKeyA), true, false},
      {"slash query, focus elsewhere: Up", slashElsewhere, key(kUpArrowKeyCode), true, false},
      {"slash query, focus elsewhere: Escape", slashElsewhere, key(kEscapeKeyCode), true, false},
      {"Escape with the palette presented", palette, key(kEscapeKeyCode), false, false},
      {"letter with the palette presented", palette, key(kKeyA), false, false},
      {"Escape, nothing showing", none, key(kEscapeKeyCode), true, false},
      {"Command+Escape, nothing showing", none, key(kEscapeKeyCode, kCommandModifier), false, false},
      {"Command+Escape with the toolbar showing",
       [](KeyboardConsumeSnapshot& s) { s.inlineToolbarShowing = true; },
       key(kEscapeKeyCode, kCommandModifier), true, true},
      {"Escape with inline AI, Notes behind",
       [](KeyboardConsumeSnapshot& s) {
         s.isNotesFrontmost = false;
         s.inlineAIShowing = true;
       },
       key(kEscapeKeyCode), true, true},
      {"Escape with the skills launcher", [](KeyboardConsumeSnapshot& s) { s.skillsLauncherShowing = true; },
       key(kEscapeKeyCode), true, true},
      {"Escape in the toolbar prompt", promptFocused, key(kEscapeKeyCode), true, true},
      {"letter in the toolbar prompt", promptFocused, key(kKeyA), false, false},
      {"no Notes process id: a target id cannot exclude the key",
       [](KeyboardConsumeSnapshot& s) { s.notesProcessIdentifier.reset(); }, key(kKeyA, 0, 777), true, false},
  };
  for (const auto& test : cases) {
    KeyboardConsumeSnapshot snapshot = notesInFront();
    test.setUp(snapshot);
    const bool forwarded = shouldForwardKey(test.event, snapshot);
    EXPECT_EQ(forwarded, test.forwarded) << test.name;
    // The tap consults the consume rule only for keys it forwards.
    EXPECT_EQ(forwarded && shouldConsumeKey(test.event, snapshot), test.consumed) << test.name;
  }
}

TEST(KeyboardConsumeRules, EscapeOverThePaletteIsNeverSwallowedWhateverElseHolds) {
  KeyboardConsumeSnapshot snapshot = notesInFront();
  snapshot.commandPalettePresented = true;
  snapshot.slashQueryActive = true;
  snapshot.isNotesTextAreaFocusedCached = true;
  snapshot.inlineToolbarShowing = true;
  EXPECT_FALSE(shouldConsumeKey(key(kEscapeKeyCode), snapshot));
  EXPECT_FALSE(shouldConsumeKey(key(kReturnKeyCode), snapshot));
}

TEST(QuickOpenKeyboardShortcut, EqualityMasksFlagsAndIgnoresTheLabel) {
  const QuickOpenKeyboardShortcut base{kKeyO, kCommandModifier, "O"};
  struct Case {
    QuickOpenKeyboardShortcut other;
    bool equal;
  };
  const std::vector<Case> cases = {
      {{kKeyO, kCommandModifier, "another label"}, true},
      {{kKeyO, kCommandModifier | kCapsLock | 0x800000 | 0x8, "O"}, true},  // Caps Lock, Fn, device bits
      {{kKeyO, kCommandModifier | kShiftModifier, "O"}, false},
      {{kKeyO, kControlModifier, "O"}, false},
      {{kKeyP, kCommandModifier, "O"}, false},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(base == test.other, test.equal) << test.other.modifierFlags;
  }
}

}  // namespace
}  // namespace zephyl::editor
