// NoteTemplateService: the user's templates, read from the Notes database
// (preferred) or through an Apple Notes script, and cached. The short form of
// the templates statement serves as a revision: when it has not changed since
// the last full read, the cached list stands and no body is read again.
//
// Not thread-safe: one owner (the slash-command panel) calls it; the reads
// block, so the owner runs them off the main thread.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "editor/built_in_note_template.h"
#include "editor/note_template.h"
#include "editor/note_template_scripts.h"
#include "editor/note_template_service_error.h"
#include "editor/script_runner.h"
#include "notes_store/notes_database_access.h"

namespace zephyl::editor {

class NoteTemplateService {
 public:
  // Either collaborator may be null: without database access the templates are
  // read through the script runner; without a script runner there is no
  // fallback. Both must outlive the service.
  NoteTemplateService(notes_store::NotesDatabaseAccess* database, ScriptRunner* scripts,
                      int scriptTimeoutSeconds = kTemplateScriptTimeoutSeconds);

  // The cached list (empty before the first successful read).
  const std::vector<NoteTemplate>& templates() const { return templates_; }

  // Re-reads the templates and returns the new list. A failed read leaves the
  // cached list in place and throws: NotesDatabaseError for a database that
  // cannot be read, NoteTemplateServiceError (databaseUnavailable) when there is
  // no database and no working script fallback, (appleScriptError) when the
  // fallback script failed.
  const std::vector<NoteTemplate>& synchronize();

  // Reads the templates through the Notes script only. Throws
  // NoteTemplateServiceError (appleScriptUnavailable, appleScriptError).
  std::vector<NoteTemplate> fetchViaScript();

  // Installs `builtIn` into the templates folder through a Notes script.
  // Throws NoteTemplateServiceError (appleScriptUnavailable; appleScriptError,
  // also for "No Apple Notes account is available." and an unexpected result).
  NoteTemplateScripts::InstallResult install(const BuiltInNoteTemplate& builtIn);

  // How many times the full templates statement ran (the revision matched otherwise).
  int fullReads() const { return fullReads_; }

 private:
  // nullopt when there is no database file.
  std::optional<std::vector<NoteTemplate>> readFromDatabase();
  std::string evaluate(const std::string& source, const std::string& taskLabel);

  notes_store::NotesDatabaseAccess* database_;
  ScriptRunner* scripts_;
  int scriptTimeoutSeconds_;
  std::vector<NoteTemplate> templates_;
  std::optional<std::string> revision_;  // of `templates_`, when they came from the database
  int fullReads_ = 0;
};

}  // namespace zephyl::editor
