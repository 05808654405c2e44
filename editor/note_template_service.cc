#include "editor/note_template_service.h"

#include <exception>

#include "core/logger.h"
#include "editor/internal/note_document_html.h"
#include "editor/script_error.h"
#include "notes_store/note_document.h"
#include "notes_store/notes_database_error.h"

namespace zephyl::editor {
namespace {

constexpr core::Logger kLog("NoteTemplateService");

using notes_store::NamedFolderSet;
using notes_store::NotesDatabaseAccess;
using notes_store::NotesDatabaseError;
using Code = NoteTemplateServiceError::Code;

constexpr const char* kFetchTaskLabel = "Template AppleScript fetch";
constexpr const char* kInstallTaskLabel = "Template AppleScript install";

std::string revisionOf(const std::vector<notes_store::NotesFolderNoteSummaryRow>& rows) {
  std::string revision;
  for (const auto& row : rows) {
    const int64_t modified = row.modifiedAt ? row.modifiedAt->time_since_epoch().count() : -1;
    revision.append(row.folderID)
        .append("\x1F")
        .append(row.folderName)
        .append("\x1F")
        .append(row.accountName);
    revision.append("\x1F").append(row.noteID).append("\x1F").append(row.title).append("\x1F");
    revision.append(std::to_string(modified)).append("\x1E");
  }
  return revision;
}

NoteTemplate templateOf(notes_store::NotesFolderNoteRow& row) {
  NoteTemplate item;
  item.title = row.title;
  item.displayTitle = NoteTemplate::displayTitleFor(row.title);
  item.summary = row.preview;
  if (row.bodyData) {
    if (const auto document = notes_store::decodeNoteDocument(*row.bodyData)) {
      item.htmlBody = internal::noteDocumentToNotesHtml(*document);
    }
  }
  item.folderID = row.folderID;
  item.folderName = row.folderName;
  item.accountName = row.accountName;
  item.noteID = row.noteID;
  item.modifiedAt = row.modifiedAt;
  return item;
}

std::string scriptMessageOf(const ScriptError& error) {
  return error.scriptMessage().empty() ? error.description() : error.scriptMessage();
}

}  // namespace

NoteTemplateService::NoteTemplateService(notes_store::NotesDatabaseAccess* database, ScriptRunner* scripts,
                                         int scriptTimeoutSeconds)
    : database_(database), scripts_(scripts), scriptTimeoutSeconds_(scriptTimeoutSeconds) {}

std::optional<std::vector<NoteTemplate>> NoteTemplateService::readFromDatabase() {
  std::optional<std::string> newRevision;
  auto read = [&](notes_store::NotesDatabaseConnection& connection) -> std::vector<NoteTemplate> {
    try {
      newRevision = revisionOf(
          NotesDatabaseAccess::fetchFolderNotesWithoutBodies(connection, NamedFolderSet::kTemplates));
    } catch (const NotesDatabaseError& error) {
      // Without a revision the full read decides; it fails too if the store is broken.
      kLog.error() << "Could not read Notes database revision for templates: " << error.message();
    }
    if (newRevision && newRevision == revision_) return templates_;
    auto rows = NotesDatabaseAccess::fetchFolderNotesWithBodies(connection, NamedFolderSet::kTemplates);
    ++fullReads_;
    std::vector<NoteTemplate> list;
    for (auto& row : rows) {
      if (!row.noteID.empty()) list.push_back(templateOf(row));  // an empty folder's row
    }
    return list;
  };
  try {
    auto list = database_->withDatabase(read);
    if (list) revision_ = newRevision;
    return list;
  } catch (const NotesDatabaseError& error) {
    kLog.error() << "Could not read Notes database for templates: " << error.message();
    throw;
  }
}

const std::vector<NoteTemplate>& NoteTemplateService::synchronize() {
  if (database_ != nullptr) {
    std::optional<std::vector<NoteTemplate>> fromDatabase;
    try {
      fromDatabase = readFromDatabase();
    } catch (const NotesDatabaseError&) {
      // The script may still reach the templates; if it cannot, the database's
      // own error says more than the fallback's.
      const std::exception_ptr databaseError = std::current_exception();
      if (scripts_ == nullptr) throw;
      try {
        templates_ = fetchViaScript();
        revision_.reset();
        return templates_;
      } catch (const NoteTemplateServiceError&) {
        std::rethrow_exception(databaseError);
      }
    }
    if (fromDatabase) {
      templates_ = std::move(*fromDatabase);
      return templates_;
    }
  }
  if (scripts_ == nullptr) throw NoteTemplateServiceError(Code::kDatabaseUnavailable);
  try {
    templates_ = fetchViaScript();
  } catch (const NoteTemplateServiceError& error) {
    if (error.code() == Code::kAppleScriptUnavailable)
      throw NoteTemplateServiceError(Code::kDatabaseUnavailable);
    throw;
  }
  revision_.reset();
  return templates_;
}

std::string NoteTemplateService::evaluate(const std::string& source, const std::string& taskLabel) {
  if (scripts_ == nullptr) {
    kLog.error() << "Could not read templates via AppleScript: AppleScript unavailable";
    throw NoteTemplateServiceError(Code::kAppleScriptUnavailable);
  }
  try {
    return scripts_->evaluate(source, taskLabel);
  } catch (const ScriptError& error) {
    kLog.error() << "Could not read templates via AppleScript: " << scriptMessageOf(error);
    if (error.code() == ScriptError::Code::kUnavailable)
      throw NoteTemplateServiceError(Code::kAppleScriptUnavailable);
    throw NoteTemplateServiceError(Code::kAppleScriptError, scriptMessageOf(error));
  }
}

std::vector<NoteTemplate> NoteTemplateService::fetchViaScript() {
  return NoteTemplateScripts::parseFetchOutput(
      evaluate(NoteTemplateScripts::fetchScript(scriptTimeoutSeconds_), kFetchTaskLabel));
}

NoteTemplateScripts::InstallResult NoteTemplateService::install(const BuiltInNoteTemplate& builtIn) {
  const std::string output =
      evaluate(NoteTemplateScripts::installScript(builtIn, scriptTimeoutSeconds_), kInstallTaskLabel);
  const auto result = NoteTemplateScripts::parseInstallOutput(output);
  if (!result) throw NoteTemplateServiceError(Code::kAppleScriptError, "Unexpected result: " + output);
  return *result;
}

}  // namespace zephyl::editor
