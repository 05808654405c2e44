#include "editor/slash_command_ranking.h"

#include <algorithm>
#include <string>

#include "core/search_text_folder.h"

namespace zephyl::editor {
namespace {

// Case and diacritics are ignored as Quick Open ignores them.
std::string foldForSearch(std::string_view text) {
  static const core::SearchTextFolder folder;
  return folder.fold(text);
}

using Match = SlashCommandRanking::Match;

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlank = " \t\r\n";
  const size_t first = text.find_first_not_of(kBlank);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

bool isWordSeparator(char c) { return c == ' ' || c == '-' || c == '_' || c == '&' || c == '/'; }

std::optional<Match> matchWord(const std::string& word, const std::string& query) {
  if (word == query) return Match::kExact;
  if (word.starts_with(query)) return Match::kPrefix;
  std::optional<Match> best;
  for (size_t at = word.find(query, 1); at != std::string::npos; at = word.find(query, at + 1)) {
    if (isWordSeparator(word[at - 1])) return Match::kWordPrefix;
    best = Match::kInfix;
  }
  return best;
}

}  // namespace

namespace {

// How well `row` matches: the match kind first and, within a kind, a match on
// the row's own names (title, identifier, template title) before one found
// only through an alias, so "ta" lists Table before Checklist (alias "task").
std::optional<int> rankKey(const SlashCommand& row, const std::string& folded) {
  std::optional<int> best;
  auto consider = [&](const std::string& word, int aliasPenalty) {
    if (const auto found = matchWord(foldForSearch(word), folded)) {
      const int key = static_cast<int>(*found) * 2 + aliasPenalty;
      if (!best || key < *best) best = key;
    }
  };
  consider(row.titleKey, 0);
  consider(row.identifier, 0);
  if (!row.templateTitle.empty()) consider(row.templateTitle, 0);
  for (const auto& alias : row.aliases) {
    if (best && *best <= static_cast<int>(Match::kExact) * 2 + 1) break;
    consider(alias, 1);
  }
  return best;
}

}  // namespace

std::optional<SlashCommandRanking::Match> SlashCommandRanking::match(const SlashCommand& row,
                                                                     std::string_view query) {
  const std::string folded = foldForSearch(query);
  if (folded.empty()) return Match::kExact;
  const auto key = rankKey(row, folded);
  if (!key) return std::nullopt;
  return static_cast<Match>(*key / 2);
}

std::vector<SlashCommand> SlashCommandRanking::rank(const std::vector<SlashCommand>& rows,
                                                    std::string_view query) {
  const std::string_view needle = trimmed(query);
  if (needle.empty()) return rows;
  const std::string folded = foldForSearch(needle);
  if (folded.empty()) return rows;
  std::vector<std::pair<int, const SlashCommand*>> matched;
  for (const auto& row : rows) {
    if (const auto key = rankKey(row, folded)) matched.emplace_back(*key, &row);
  }
  std::stable_sort(matched.begin(), matched.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<SlashCommand> ranked;
  ranked.reserve(matched.size());
  for (const auto& [key, row] : matched) ranked.push_back(*row);
  return ranked;
}

}  // namespace zephyl::editor
