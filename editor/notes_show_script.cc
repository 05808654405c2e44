#include "editor/notes_show_script.h"

#include "editor/note_template_scripts.h"

namespace zephyl::editor {

std::string notesShowScript(NotesItemKind kind, std::string_view identifier) {
  std::string script = "tell application \"Notes\"\n  activate\n  show ";
  script += kind == NotesItemKind::kNote ? "note" : "folder";
  script += " id " + NoteTemplateScripts::stringLiteral(identifier) + "\nend tell\n";
  return script;
}

}  // namespace zephyl::editor
