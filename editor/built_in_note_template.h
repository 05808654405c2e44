// The templates Zephyl offers to install into the user's templates folder.
// Their bodies are Notes HTML: one div per line, a div holding a line break for
// an empty line, labels in bold, lists as unordered lists of empty items.
#pragma once

#include <string>
#include <vector>

namespace zephyl::editor {

struct BuiltInNoteTemplate {
  std::string title;
  std::string summary;
  std::string htmlBody;
  // The titles under which an installed copy is recognised, so that it is not
  // installed twice.
  std::vector<std::string> knownTitles;
};

// "Meeting Notes" and "Daily Note", in that order.
const std::vector<BuiltInNoteTemplate>& builtInNoteTemplates();

}  // namespace zephyl::editor
