// The Apple Notes scripts of the templates feature: reading every template of
// the root templates folders (the fallback when the database cannot be read),
// and installing a built-in template, creating the folder when there is none.
// Both run inside a time-out block.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "editor/built_in_note_template.h"
#include "editor/note_template.h"

namespace zephyl::editor {

inline constexpr int kTemplateScriptTimeoutSeconds = 20;
inline constexpr char kTemplateRowSeparator = '\x1E';    // ASCII 30
inline constexpr char kTemplateFieldSeparator = '\x1F';  // ASCII 31
inline constexpr std::string_view kNoAccountMessage = "No Apple Notes account is available.";

class NoteTemplateScripts {
 public:
  enum class InstallResult { kExisting, kCreated };

  // The script whose result lists the root templates folders ("folder" rows:
  // folder id, name, account) and their notes ("template" rows: folder id, name,
  // account, note id, title, an empty field, HTML body), rows joined with ASCII
  // 30 and fields with ASCII 31. A folder whose id cannot be read is named
  // account name + ":" + folder name.
  static std::string fetchScript(int timeoutSeconds = kTemplateScriptTimeoutSeconds);

  // The templates of a fetch script's result, in its order. Rows of another
  // type and template rows with too few fields are skipped; a trailing line
  // feed (as a script runner prints it) is ignored.
  static std::vector<NoteTemplate> parseFetchOutput(std::string_view output);

  // The script that installs `builtIn` into the first root templates folder
  // (creating "Templates" in the "iCloud" account, else the first, when there
  // is none) and returns "existing" when a note there already has one of its
  // known titles, else "created". Without any account it raises
  // "No Apple Notes account is available.".
  static std::string installScript(const BuiltInNoteTemplate& builtIn,
                                   int timeoutSeconds = kTemplateScriptTimeoutSeconds);

  // "existing" or "created" (surrounding white space ignored), else nullopt.
  static std::optional<InstallResult> parseInstallOutput(std::string_view output);

  // `text` as an AppleScript string literal: backslashes and double quotes
  // escaped with a backslash, line feeds, returns and tabs as \n, \r and \t.
  static std::string stringLiteral(std::string_view text);
};

}  // namespace zephyl::editor
