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
  if (word == query) return Match::exact;
  if (word.starts_with(query)) return Match::prefix;
  std::optional<Match> best;
  for (size_t at = word.find(query, 1); at != std::string::npos; at = word.find(query, at + 1)) {
    if (isWordSeparator(word[at - 1])) return Match::wordPrefix;
    best = Match::infix;
  }
  return best;
}

}  // namespace

std::optional<SlashCommandRanking::Match> SlashCommandRanking::match(const SlashCommand& row,
                                                                     std::string_view query) {
  const std::string folded = foldForSearch(query);
  if (folded.empty()) return Match::exact;
  std::vector<const std::string*> words = {&row.titleKey, &row.identifier};
  if (!row.templateTitle.empty()) words.push_back(&row.templateTitle);
  for (const auto& alias : row.aliases) words.push_back(&alias);
  std::optional<Match> best;
  for (const std::string* word : words) {
    const auto found = matchWord(foldForSearch(*word), folded);
    if (found && (!best || *found < *best)) best = found;
    if (best == Match::exact) break;
  }
  return best;
}

std::vector<SlashCommand> SlashCommandRanking::rank(const std::vector<SlashCommand>& rows,
                                                    std::string_view query) {
  const std::string_view needle = trimmed(query);
  if (needle.empty()) return rows;
  std::vector<std::pair<Match, const SlashCommand*>> matched;
  for (const auto& row : rows) {
    if (const auto found = match(row, needle)) matched.emplace_back(*found, &row);
  }
  std::stable_sort(matched.begin(), matched.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<SlashCommand> ranked;
  ranked.reserve(matched.size());
  for (const auto& [found, row] : matched) ranked.push_back(*row);
  return ranked;
}

}  // namespace zephyl::editor
