#include "cli/quick_open_session.h"

#include "navigation/notes_quick_open_error.h"
#include "notes_store/notes_database_error.h"

namespace zephyl::cli {

using navigation::NotesQuickOpenError;

std::unique_ptr<navigation::NotesQuickOpenService> openQuickOpen(CliContext& context) {
  auto service = std::make_unique<navigation::NotesQuickOpenService>(
      context.notesDatabase(), context.fileSystem(), context.directories().dataDirectory);
  try {
    service->refresh();
  } catch (const NotesQuickOpenError& e) {
    switch (e.code()) {
      case NotesQuickOpenError::Code::kNotesDatabaseAccessRequired:
        throw CliFailure(context.missingDatabaseMessage());
      case NotesQuickOpenError::Code::kDatabaseUnavailable:
        // The command line names SQLite's own message, as every command does.
        throw CliFailure(notes_store::NotesDatabaseError(e.detail()).description());
      case NotesQuickOpenError::Code::kNoteURLUnavailable:
      case NotesQuickOpenError::Code::kNoteOpenFailed:
      case NotesQuickOpenError::Code::kFolderOpenFailed:
        throw;
    }
  }
  service->saveSearchTextCache();
  return service;
}

std::string quickOpenResultFolderPath(const navigation::QuickOpenSearchResult& result) {
  if (const auto* note = result.note()) return note->folderPath;
  return result.snippet;
}

std::string quickOpenResultTitle(const navigation::QuickOpenSearchResult& result) {
  if (const auto* note = result.note()) return note->title;
  const auto* folder = result.folder();
  return folder->title.empty() ? std::string(navigation::kUntitledFolderTitle) : folder->title;
}

}  // namespace zephyl::cli
