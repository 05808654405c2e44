// The Quick Open service as the commands use it: wired to the data folder's
// search text cache, refreshed, with its errors turned into command failures.
#pragma once

#include <memory>

#include "cli/cli_context.h"
#include "navigation/notes_quick_open_service.h"

namespace zephyl::cli {

// A refreshed service whose cache file has been written back. Throws CliFailure
// (no database, or one that cannot be read) or core::CancellationError.
std::unique_ptr<navigation::NotesQuickOpenService> openQuickOpen(CliContext& context);

// "Account › Folder" of a result: the note's folder path or the folder's own path.
std::string quickOpenResultFolderPath(const navigation::QuickOpenSearchResult& result);
// The title shown for a result; a folder without a name is "Notes".
std::string quickOpenResultTitle(const navigation::QuickOpenSearchResult& result);

}  // namespace zephyl::cli
