// SearchTextFolder: the text that Quick Open compares, folded once so that a
// query is a plain substring scan. Folding removes what the search ignores:
// case (ICU full case folding, so "ß" folds to "ss" and "strasse" finds
// "Straße") and diacritics (canonical decomposition with the nonspacing marks
// dropped, so "creme" finds "Crème"). The query and the searched text go through
// the same folder; a match of the folded query inside folded text is a match
// that ignores case and diacritics.
//
// Case folding depends on the locale only for Turkish and Azerbaijani, where
// the dotted and dotless i fold apart; `foldingKey` names the variant so that
// stored folded text is thrown away when the locale changes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zephyl::core {

class SearchTextFolder {
 public:
  // Folds for ICU's default locale (the process's current locale).
  SearchTextFolder();
  // Folds for the named locale ("tr_TR", "en_US").
  explicit SearchTextFolder(std::string_view localeName);

  // `text` (UTF-8, ill-formed parts read as U+FFFD) folded.
  std::string fold(std::string_view text) const;

  struct MappedText {
    std::string folded;
    // For each byte of `folded`, the index of the source code point it came from.
    std::vector<uint32_t> sourceIndex;
  };
  // As fold, keeping where each folded byte came from, so that a match in the
  // folded text can be placed in the source.
  MappedText foldMapped(std::u32string_view text) const;

  // "default" or "turkic": which folding this folder applies.
  const std::string& foldingKey() const { return foldingKey_; }

 private:
  void appendFolded(char32_t codePoint, std::string& out) const;

  uint32_t caseOptions_;
  std::string foldingKey_;
  // Folded forms of U+0080…U+024F (Latin-1 and Latin Extended), computed once:
  // the common non-ASCII letters of European text skip ICU.
  std::vector<std::string> latinTable_;
};

}  // namespace zephyl::core
