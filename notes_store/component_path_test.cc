#include "notes_store/component_path.h"

#include <gtest/gtest.h>

namespace zephyl::notes_store {
namespace {

TEST(ComponentPath, SplitsByByteLengthsNotSeparators) {
  using Components = std::vector<std::string>;
  const std::pair<const char*, Components> cases[] = {
      {"6:iCloud4:Work8:Projects", {"iCloud", "Work", "Projects"}},
      {"5:Café", {"Café"}},                // é is two bytes
      {"7:A › B3:1:2", {"A › B", "1:2"}},  // separators inside names
      {"0:4:Work", {"", "Work"}},          // an empty title is a component
      {"9:日本語", {"日本語"}},
      {"", {}},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(parseComponentPath(text), expected) << text;
    EXPECT_EQ(makeComponentPath(expected), text);
  }
}

TEST(ComponentPath, MalformedTextIsRejected) {
  for (const char* text :
       {"6:iCloud4:Wor", "x:abc", ":abc", "3abc", "-1:a", "99999999999999999999999:a", "4:Work8"}) {
    EXPECT_EQ(parseComponentPath(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace zephyl::notes_store
