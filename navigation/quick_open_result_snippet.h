// The snippet shown under a Quick Open result: the note text with its white
// space collapsed, cut to a window around the first match of the query, with
// "..." where text was cut off. Lengths are counted in characters (code points).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "core/search_text_folder.h"

namespace zephyl::navigation {

// Quick Open results show at most this many characters of note text.
inline constexpr int kQuickOpenSnippetLength = 170;

// `text` with carriage returns turned into line feeds, split at every white-space
// or line-break character, the non-empty pieces joined with single blanks.
std::string cleanSnippetText(std::string_view text);

// The snippet of `text` for `query`: the cleaned text when it has at most
// `maxLength` characters (or `maxLength` is below 1); else `maxLength` characters
// from the first match of the trimmed query (ignoring case and diacritics as
// `folder` does), from 36 characters before it when the match lies more than 32
// characters into the text, or from the start when there is no match; trimmed,
// with "..." before and after where the text goes on.
std::string makeResultSnippet(std::string_view text, std::string_view query, int maxLength,
                              const core::SearchTextFolder& folder);

}  // namespace zephyl::navigation
