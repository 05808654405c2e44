#include "editor/note_template.h"

#include <cctype>

namespace zephyl::editor {

std::string NoteTemplate::displayTitleFor(std::string_view title) {
  auto isSpace = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
  while (!title.empty() && isSpace(title.front())) title.remove_prefix(1);
  while (!title.empty() && isSpace(title.back())) title.remove_suffix(1);
  return title.empty() ? std::string(kUntitledTemplateTitle) : std::string(title);
}

}  // namespace zephyl::editor
