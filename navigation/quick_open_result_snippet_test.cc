#include "navigation/quick_open_result_snippet.h"

#include <gtest/gtest.h>

#include "core/utf8.h"

namespace zephyl::navigation {
namespace {

// `length` letters without blanks (so trimming never moves a window edge) and
// without the letter e (so no query of the tests occurs in it).
std::string filler(size_t length) {
  std::string text;
  const std::string_view letters = "abcdfghijklmnopqrstuvwxyz";
  while (text.size() < length) text += letters[text.size() % letters.size()];
  return text;
}

size_t characters(std::string_view text) { return core::decodeUtf8(text).size(); }

class ResultSnippetTest : public ::testing::Test {
 protected:
  std::string snippet(std::string_view text, std::string_view query, int length = kQuickOpenSnippetLength) {
    return makeResultSnippet(text, query, length, folder_);
  }
  core::SearchTextFolder folder_{"en_US"};
};

TEST_F(ResultSnippetTest, ShortTextComesBackCleanedAndWhole) {
  const std::string text = "  First line\r\nsecond\t\tline\u2028third\u0085fourth  " + filler(100);
  const std::string result = snippet(text, "fourth");
  EXPECT_EQ(result, "First line second line third fourth " + filler(100));
  EXPECT_LE(characters(result), 170u);
  EXPECT_EQ(result.find("..."), std::string::npos);
}

TEST_F(ResultSnippetTest, EdgesOfTheWindow) {
  struct Case {
    std::string name;
    std::string text;
    std::string query;
    int length;
    std::string expected;
  };
  const std::string text = filler(300);
  const Case cases[] = {
      {"exactly the maximum stays whole", filler(170), "needle", 170, filler(170)},
      {"length below one keeps everything", text, "needle", 0, text},
      {"match at 32 opens at the match", text.substr(0, 32) + "needle" + filler(200), "needle", 170,
       "...needle" + filler(200).substr(0, 164) + "..."},
      {"match at 33 backs up to the start", text.substr(0, 33) + "needle" + filler(200), "needle", 170,
       (text.substr(0, 33) + "needle" + filler(200)).substr(0, 170) + "..."},
      {"match near the end has no trailing dots", text + "needle", "needle", 50,
       "..." + (text + "needle").substr(264)},
      {"trimmed and folded query", text.substr(0, 100) + "needle" + text, " NEEDLE\n", 20,
       "..." + (text.substr(0, 100) + "needle" + text).substr(64, 20) + "..."},
      {"no match opens at the start", text, "absent", 170, text.substr(0, 170) + "..."},
      {"a blank query matches nothing", text, "   ", 170, text.substr(0, 170) + "..."},
      {"empty after cleaning", " \n\t\r ", "x", 170, ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(snippet(c.text, c.query, c.length), c.expected) << c.name;
  }
}

TEST_F(ResultSnippetTest, CountsCharactersNotBytesAndMatchesDiacritics) {
  // 100 two-byte characters, then the match: the window is placed in characters.
  std::string text;
  for (int i = 0; i < 100; ++i) text += "é";
  text += "Crème";
  for (int i = 0; i < 200; ++i) text += "ü";
  const std::string result = snippet(text, "creme");
  ASSERT_EQ(result.substr(0, 3), "...");
  EXPECT_EQ(characters(result), 3 + 170 + 3);
  const std::u32string decoded = core::decodeUtf8(result);
  EXPECT_EQ(core::encodeUtf8(decoded.substr(3 + 36, 5)), "Crème");
}

TEST(CleanSnippetText, CollapsesEveryKindOfWhiteSpace) {
  EXPECT_EQ(cleanSnippetText("a\r\rb\u00A0c\u2029d\u3000e\v\ff"), "a b c d e f");
  EXPECT_EQ(cleanSnippetText("\n\n"), "");
}

}  // namespace
}  // namespace zephyl::navigation
