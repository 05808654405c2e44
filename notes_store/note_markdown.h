// Markdown from a decoded note: each paragraph with the prefix its style gives
// (headings, lists with their nesting, checklists with their state, quotes),
// monospaced paragraphs fenced as code, inline styles (bold, italic,
// strikethrough, underline, highlight, super- and subscript), links (links to
// other notes through a resolver), tables where their U+FFFC stands, and a
// clear placeholder for every other attachment. Text that Markdown would
// misread is escaped, and stray control characters are dropped.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "notes_store/note_body_decoder.h"
#include "notes_store/note_document.h"
#include "notes_store/note_table_decoder.h"

namespace zephyl::notes_store {

inline constexpr std::string_view kNoteLinkPrefix = "applenotes:note/";

struct NoteMarkdownOptions {
  // The Markdown link target for a link to another note, given the target's
  // identifier as the link spells it; nullopt keeps the link as it is.
  std::function<std::optional<std::string>(std::string_view noteIdentifier)> noteLinkTarget;
  // The visible text of an inline attachment (a hashtag's "#travel"), by
  // identifier; nullopt shows the attachment's placeholder.
  std::function<std::optional<std::string>(std::string_view attachmentIdentifier)> attachmentText;
};

using NoteTables = std::unordered_map<std::string, NotesTable>;

std::string noteToMarkdown(const NoteDocument& document, const NoteTables& tables = {},
                           const NoteMarkdownOptions& options = {});

// The same from the line styles alone (prefixes and code fences, no inline styles),
// for a note whose full document is not at hand.
std::string parsedNoteToMarkdown(const NotesDatabaseParsedNote& note, const NoteTables& tables = {});

// A table as a Markdown table: the first row is the header, pipes escaped,
// line breaks inside a cell written as <br>.
std::string tableToMarkdown(const NotesTable& table, const NoteMarkdownOptions& options = {});

// Text without the characters that never belong in shown text: U+FFFD and the
// C0 controls other than tab, line feed and carriage return.
std::string removeControlCharacters(std::string_view text);

}  // namespace zephyl::notes_store
