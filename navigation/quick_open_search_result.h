// What a Quick Open query yields: the matched item, what matched, and the text
// shown under it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "navigation/quick_open_snapshot.h"

namespace zephyl::navigation {

// What matched, best first: results are ordered by it.
enum class QuickOpenMatchKind { kTitle, kFolder, kText };

// "title", "folder", "text".
std::string_view matchKindName(QuickOpenMatchKind kind);

struct QuickOpenSearchMatch {
  std::variant<QuickOpenNote, QuickOpenFolder> item;
  QuickOpenMatchKind matchKind = QuickOpenMatchKind::kTitle;
};

struct QuickOpenSearchResult {
  std::variant<QuickOpenNote, QuickOpenFolder> item;
  std::string snippet;
  std::string matchedQuery;
  // None for the recent notes that an empty query lists.
  std::optional<QuickOpenMatchKind> matchKind;

  const QuickOpenNote* note() const { return std::get_if<QuickOpenNote>(&item); }
  const QuickOpenFolder* folder() const { return std::get_if<QuickOpenFolder>(&item); }
};

}  // namespace zephyl::navigation
