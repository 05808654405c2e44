#include "core/search_text_folder.h"

#include <gtest/gtest.h>

namespace zephyl::core {
namespace {

bool finds(const SearchTextFolder& folder, std::string_view text, std::string_view query) {
  return folder.fold(text).find(folder.fold(query)) != std::string::npos;
}

TEST(SearchTextFolder, IgnoresCaseAndDiacriticsTheIcuWay) {
  const SearchTextFolder folder("en_US");
  struct Case {
    std::string_view text;
    std::string_view query;
    bool found;
  };
  const Case cases[] = {
      {"Crème brûlée", "creme", true},  {"Crème brûlée", "BRULEE", true},
      {"cre\xCC\x80me", "CRÈME", true},  // decomposed e + U+0300
      {"Straße", "strasse", true},       // full case folding: ß is ss
      {"STRASSE", "straße", true},      {"Strasse", "strase", false},
      {"Ångström", "angstrom", true},   {"naïve café", "NAIVE CAFE", true},
      {"ΟΔΟΣ", "οδος", true},           {"ΟΔΟΣ", "οδοσ", true},  // final sigma folds like sigma
      {"Øresund", "oresund", false},  // ø is a letter of its own, not o with a mark
      {"日本語のメモ", "メモ", true},   {"résumé", "resume", true},
      {"resume", "résumé", true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(finds(folder, c.text, c.query), c.found) << c.text << " / " << c.query;
  }
}

TEST(SearchTextFolder, TurkishLocaleKeepsDottedAndDotlessIApart) {
  const SearchTextFolder turkish("tr_TR");
  const SearchTextFolder english("en_US");
  EXPECT_EQ(turkish.foldingKey(), "turkic");
  EXPECT_EQ(english.foldingKey(), "default");
  EXPECT_TRUE(finds(english, "ISTANBUL", "istanbul"));
  EXPECT_FALSE(finds(turkish, "ISTANBUL", "istanbul"));
  EXPECT_TRUE(finds(turkish, "İSTANBUL", "istanbul"));
  EXPECT_TRUE(finds(turkish, "ISPARTA", "ısparta"));
}

TEST(SearchTextFolder, IllFormedBytesFoldAsReplacementCharacter) {
  const SearchTextFolder folder("en_US");
  EXPECT_EQ(folder.fold("A\xFF"
                        "B"),
            "a\xEF\xBF\xBD"
            "b");
  EXPECT_EQ(folder.fold(std::string_view("A\0B", 3)), std::string("a\0b", 3));
}

TEST(SearchTextFolder, MappedFoldingPointsBackToSourceCharacters) {
  const SearchTextFolder folder("en_US");
  const auto mapped = folder.foldMapped(U"Aß É");
  EXPECT_EQ(mapped.folded, "ass e");
  EXPECT_EQ(mapped.sourceIndex, (std::vector<uint32_t>{0, 1, 1, 2, 3}));
  EXPECT_EQ(mapped.folded, folder.fold("Aß É"));
}

}  // namespace
}  // namespace zephyl::core
