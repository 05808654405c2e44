// Orders the slash-command panel's rows for what the user typed after the
// slash. A row's searchable words are its title, its identifier and its aliases
// (and a template's title). Case and diacritics are ignored, so "uberschrift"
// finds "Zwischenüberschrift" and "TITLE" finds "title".
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "editor/slash_command.h"

namespace zephyl::editor {

class SlashCommandRanking {
 public:
  // How well a row's best word matches the query; lower is better.
  enum class Match {
    kExact,       // a whole word equals the query
    kPrefix,      // a word starts with the query
    kWordPrefix,  // a later word of a phrase ("list" in "Bulleted List") starts with it
    kInfix,       // the query occurs inside a word
  };

  // The rows that match `query`, best match first; rows matching equally well
  // keep their given order. An empty (or blank) query keeps every row in order.
  static std::vector<SlashCommand> rank(const std::vector<SlashCommand>& rows, std::string_view query);

  // How `row` matches `query` (already trimmed), or nullopt when it does not.
  static std::optional<Match> match(const SlashCommand& row, std::string_view query);
};

}  // namespace zephyl::editor
