#include "core/search_text_folder.h"

#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>

#include "core/utf8.h"

namespace zephyl::core {
namespace {

constexpr char32_t kLatinTableStart = 0x80;
constexpr char32_t kLatinTableEnd = 0x250;

bool isTurkic(const icu::Locale& locale) {
  const std::string_view language = locale.getLanguage();
  return language == "tr" || language == "az";
}

// Case-folds, then decomposes and drops the nonspacing marks. Folding comes
// first so that Turkic İ folds to i before its dot would be taken for a mark.
std::string foldWithIcu(char32_t codePoint, uint32_t caseOptions) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* nfd = icu::Normalizer2::getNFDInstance(status);
  if (U_FAILURE(status)) return {};
  icu::UnicodeString folded(static_cast<UChar32>(codePoint));
  folded.foldCase(caseOptions);
  const icu::UnicodeString decomposed = nfd->normalize(folded, status);
  icu::UnicodeString kept;
  for (int32_t i = 0; i < decomposed.length();) {
    const UChar32 c = decomposed.char32At(i);
    if (u_charType(c) != U_NON_SPACING_MARK) kept.append(c);
    i += U16_LENGTH(c);
  }
  // Decomposition can leave capitals that folding a precomposed letter kept (none
  // in Unicode today); fold once more so that the result is stable.
  kept.foldCase(caseOptions);
  std::string out;
  kept.toUTF8String(out);
  return out;
}

}  // namespace

SearchTextFolder::SearchTextFolder() : SearchTextFolder(icu::Locale::getDefault().getName()) {}

SearchTextFolder::SearchTextFolder(std::string_view localeName) {
  const icu::Locale locale(std::string(localeName).c_str());
  const bool turkic = isTurkic(locale);
  caseOptions_ = turkic ? U_FOLD_CASE_EXCLUDE_SPECIAL_I : U_FOLD_CASE_DEFAULT;
  foldingKey_ = turkic ? "turkic" : "default";
  latinTable_.reserve(kLatinTableEnd - kLatinTableStart);
  for (char32_t c = kLatinTableStart; c < kLatinTableEnd; ++c)
    latinTable_.push_back(foldWithIcu(c, caseOptions_));
}

void SearchTextFolder::appendFolded(char32_t codePoint, std::string& out) const {
  if (codePoint < 0x80) {
    // Turkic folding keeps I as dotless ı; everything else in ASCII folds as tolower.
    if (codePoint == U'I' && caseOptions_ != U_FOLD_CASE_DEFAULT) {
      out += "\xC4\xB1";
    } else {
      out += static_cast<char>(codePoint >= U'A' && codePoint <= U'Z' ? codePoint + 32 : codePoint);
    }
  } else if (codePoint < kLatinTableEnd) {
    out += latinTable_[codePoint - kLatinTableStart];
  } else {
    out += foldWithIcu(codePoint, caseOptions_);
  }
}

std::string SearchTextFolder::fold(std::string_view text) const {
  std::string out;
  out.reserve(text.size());
  const bool turkic = caseOptions_ != U_FOLD_CASE_DEFAULT;
  size_t i = 0;
  while (i < text.size()) {
    // Runs of ASCII are the bulk of most notes: lower-cased a whole run at a
    // time, in a loop the compiler vectorises. Turkic I ends a run.
    size_t end = i;
    while (end < text.size() && static_cast<unsigned char>(text[end]) < 0x80 && !(turkic && text[end] == 'I'))
      ++end;
    if (end > i) {
      const size_t at = out.size();
      out.resize(at + (end - i));
      char* target = out.data() + at;
      const char* source = text.data() + i;
      for (size_t k = 0; k < end - i; ++k) {
        const char c = source[k];
        target[k] = static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
      }
      i = end;
      if (i == text.size()) break;
    }
    const unsigned char byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x80) {  // Turkic I
      out += "\xC4\xB1";
      ++i;
      continue;
    }
    const size_t length = core::validSequenceLength(text, i);
    if (length == 0) {
      appendFolded(U'\uFFFD', out);
      ++i;
      continue;
    }
    // validSequenceLength vouched for the bytes: decode them directly.
    char32_t codePoint = byte & (0xFF >> (length + 1));
    for (size_t k = 1; k < length; ++k)
      codePoint = (codePoint << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3F);
    appendFolded(codePoint, out);
    i += length;
  }
  return out;
}

SearchTextFolder::MappedText SearchTextFolder::foldMapped(std::u32string_view text) const {
  MappedText mapped;
  mapped.folded.reserve(text.size());
  mapped.sourceIndex.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    appendFolded(text[i], mapped.folded);
    mapped.sourceIndex.resize(mapped.folded.size(), static_cast<uint32_t>(i));
  }
  return mapped;
}

}  // namespace zephyl::core
