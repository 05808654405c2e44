#include "editor/note_template_scripts.h"

#include "notes_store/notes_database_statements.h"

namespace zephyl::editor {
namespace {

std::string folderNameList() {
  std::string list = "{";
  for (const auto& name : notes_store::namedFolderTitles(notes_store::NamedFolderSet::kTemplates)) {
    if (list.size() > 1) list += ", ";
    list += NoteTemplateScripts::stringLiteral(name);
  }
  return list + "}";
}

class ScriptLines {
 public:
  void add(int indent, std::string_view text) { text_.append(indent, ' ').append(text).append("\n"); }
  std::string inTimeout(int timeoutSeconds) const {
    return "with timeout of " + std::to_string(timeoutSeconds) + " seconds\n" +
           "  tell application \"Notes\"\n" + text_ + "  end tell\nend timeout\n";
  }

 private:
  std::string text_;
};

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  size_t start = 0;
  for (size_t at = text.find(separator); at != std::string_view::npos; at = text.find(separator, start)) {
    parts.push_back(text.substr(start, at - start));
    start = at + 1;
  }
  parts.push_back(text.substr(start));
  return parts;
}

}  // namespace

std::string NoteTemplateScripts::stringLiteral(std::string_view text) {
  std::string literal = "\"";
  for (char c : text) {
    switch (c) {
      case '"':
        literal += "\\\"";
        break;
      case '\\':
        literal += "\\\\";
        break;
      // Escapes keep a multi-line body on the script's one line.
      case '\n':
        literal += "\\n";
        break;
      case '\r':
        literal += "\\r";
        break;
      case '\t':
        literal += "\\t";
        break;
      default:
        literal += c;
    }
  }
  return literal + "\"";
}

std::string NoteTemplateScripts::fetchScript(int timeoutSeconds) {
  ScriptLines s;
  s.add(4, "set rowSeparator to ASCII character 30");
  s.add(4, "set fieldSeparator to ASCII character 31");
  s.add(4, "set templateFolderNames to " + folderNameList());
  s.add(4, "set outputRows to {}");
  s.add(4, "repeat with anAccount in accounts");
  s.add(6, "set accountName to name of anAccount as text");
  s.add(6, "repeat with aFolder in folders of anAccount");
  s.add(8, "set folderName to name of aFolder as text");
  // Only root folders: a templates folder inside another folder is ignored.
  s.add(8,
        "if (container of aFolder) is (contents of anAccount) and templateFolderNames contains folderName "
        "then");
  s.add(10, "try");
  s.add(12, "set folderID to id of aFolder as text");
  s.add(10, "on error");
  s.add(12, "set folderID to accountName & \":\" & folderName");
  s.add(10, "end try");
  s.add(10,
        "set end of outputRows to \"folder\" & fieldSeparator & folderID & fieldSeparator & folderName & "
        "fieldSeparator & accountName");
  s.add(10, "repeat with aNote in notes of aFolder");
  s.add(12,
        "set end of outputRows to \"template\" & fieldSeparator & folderID & fieldSeparator & folderName & "
        "fieldSeparator & accountName & fieldSeparator & (id of aNote as text) & fieldSeparator & "
        "(name of aNote as text) & fieldSeparator & \"\" & fieldSeparator & (body of aNote as text)");
  s.add(10, "end repeat");
  s.add(8, "end if");
  s.add(6, "end repeat");
  s.add(4, "end repeat");
  s.add(4, "set savedDelimiters to AppleScript's text item delimiters");
  s.add(4, "set AppleScript's text item delimiters to rowSeparator");
  s.add(4, "set outputText to outputRows as text");
  s.add(4, "set AppleScript's text item delimiters to savedDelimiters");
  s.add(4, "return outputText");
  return s.inTimeout(timeoutSeconds);
}

std::vector<NoteTemplate> NoteTemplateScripts::parseFetchOutput(std::string_view output) {
  while (!output.empty() && (output.back() == '\n' || output.back() == '\r')) output.remove_suffix(1);
  std::vector<NoteTemplate> templates;
  if (output.empty()) return templates;
  constexpr size_t kBodyField = 7;
  for (std::string_view row : split(output, kTemplateRowSeparator)) {
    const auto fields = split(row, kTemplateFieldSeparator);
    if (fields[0] != "template" || fields.size() <= kBodyField) continue;
    NoteTemplate item;
    item.folderID = fields[1];
    item.folderName = fields[2];
    item.accountName = fields[3];
    item.noteID = fields[4];
    item.title = fields[5];
    item.displayTitle = NoteTemplate::displayTitleFor(item.title);
    item.summary = fields[6];
    // A body holding the field separator itself is kept whole.
    item.htmlBody = row.substr(static_cast<size_t>(fields[kBodyField].data() - row.data()));
    templates.push_back(std::move(item));
  }
  return templates;
}

std::string NoteTemplateScripts::installScript(const BuiltInNoteTemplate& builtIn, int timeoutSeconds) {
  std::string knownTitles = "{";
  for (const auto& title : builtIn.knownTitles) {
    if (knownTitles.size() > 1) knownTitles += ", ";
    knownTitles += stringLiteral(title);
  }
  knownTitles += "}";
  ScriptLines s;
  s.add(4, "set templateFolderNames to " + folderNameList());
  s.add(4, "set templateFolder to missing value");
  s.add(4, "repeat with anAccount in accounts");
  s.add(6, "repeat with aFolder in folders of anAccount");
  s.add(8,
        "if (container of aFolder) is (contents of anAccount) and templateFolderNames contains "
        "(name of aFolder as text) then");
  s.add(10, "set templateFolder to contents of aFolder");
  s.add(10, "exit repeat");
  s.add(8, "end if");
  s.add(6, "end repeat");
  s.add(6, "if templateFolder is not missing value then exit repeat");
  s.add(4, "end repeat");
  s.add(4, "if templateFolder is missing value then");
  s.add(6, "if (count of accounts) is 0 then error " + stringLiteral(kNoAccountMessage));
  s.add(6, "set targetAccount to first account");
  s.add(6, "repeat with anAccount in accounts");
  s.add(8, "if (name of anAccount as text) is \"iCloud\" then");
  s.add(10, "set targetAccount to contents of anAccount");
  s.add(10, "exit repeat");
  s.add(8, "end if");
  s.add(6, "end repeat");
  s.add(6, "set templateFolder to make new folder at targetAccount with properties {name:\"Templates\"}");
  s.add(4, "end if");
  s.add(4, "set templateTitle to " + stringLiteral(builtIn.title));
  s.add(4, "set knownTitles to " + knownTitles);
  s.add(4, "set templateBody to " + stringLiteral(builtIn.htmlBody));
  s.add(4, "repeat with aNote in notes of templateFolder");
  s.add(6, "if knownTitles contains (name of aNote as text) then return \"existing\"");
  s.add(4, "end repeat");
  s.add(4, "make new note at templateFolder with properties {name:templateTitle, body:templateBody}");
  s.add(4, "return \"created\"");
  return s.inTimeout(timeoutSeconds);
}

std::optional<NoteTemplateScripts::InstallResult> NoteTemplateScripts::parseInstallOutput(
    std::string_view output) {
  constexpr std::string_view kBlank = " \t\r\n";
  const size_t first = output.find_first_not_of(kBlank);
  if (first == std::string_view::npos) return std::nullopt;
  output = output.substr(first, output.find_last_not_of(kBlank) - first + 1);
  if (output == "existing") return InstallResult::kExisting;
  if (output == "created") return InstallResult::kCreated;
  return std::nullopt;
}

}  // namespace zephyl::editor
