#include "editor/us_key_layout.h"

#include <gtest/gtest.h>

namespace zephyl::editor {
namespace {

TEST(UsKeyLayout, CharactersBecomeUsKeyPresses) {
  struct Case {
    std::string text;
    uint16_t keyCode;
    uint64_t flags;
    std::string characters;
  };
  const std::vector<Case> cases = {
      {"h", 4, 0, "h"},
      {"H", 4, kShiftModifier, "H"},
      {"#", 20, kShiftModifier, "#"},
      {" ", 49, 0, " "},
      {"`", 50, 0, "`"},
      {">", 47, kShiftModifier, ">"},
      {"\n", 36, 0, "\r"},
      {"\x7f", 51, 0, "\x7f"},
      {"【", UsKeyLayout::kNoKeyCode, 0, "【"},
      {"\xff", UsKeyLayout::kNoKeyCode, 0, "\xEF\xBF\xBD"},  // invalid UTF-8 is one replacement character
  };
  for (const auto& test : cases) {
    const auto keys = UsKeyLayout::keyPresses(test.text);
    ASSERT_EQ(keys.size(), 1u) << test.text;
    EXPECT_EQ(keys[0].keyCode, test.keyCode) << test.text;
    EXPECT_EQ(keys[0].modifierFlags, test.flags) << test.text;
    EXPECT_EQ(keys[0].characters, test.characters) << test.text;
  }
  EXPECT_EQ(UsKeyLayout::keyPresses("## 日本\n").size(), 6u);
}

}  // namespace
}  // namespace zephyl::editor
