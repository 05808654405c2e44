// Export of a whole library as Markdown: one folder per Notes folder path, one
// file per note with a small front matter, links between notes rewritten as
// relative links, locked notes skipped and counted.
//
// A manifest in the export folder (".zephyl-export.json") remembers each
// note's file and modification time, so a second export rewrites only the notes
// that changed and every note keeps its file name. Nothing is written outside
// the export folder, and a non-empty folder that holds no earlier export is
// refused unless forced. Temporary files of an earlier, interrupted run are
// removed.
#pragma once

#include <functional>
#include <stop_token>
#include <string>
#include <vector>

#include "core/error.h"
#include "core/file_system.h"
#include "notes_store/library_export_plan.h"
#include "notes_store/notes_database_access.h"

namespace zephyl::notes_store {

class LibraryExportError : public core::Error {
 public:
  enum class Code { kNotADirectory, kFolderNotEmpty };
  LibraryExportError(Code code, std::string path);
  static std::string_view text(Code code);
  Code code() const { return code_; }
  const std::string& path() const { return path_; }

 private:
  Code code_;
  std::string path_;
};

struct LibraryExportOptions {
  std::string directory;
  // Rewrite every note, and accept a non-empty folder without an earlier export.
  bool force = false;
  // Called as notes are done with the count done and the total; from the calling thread.
  std::function<void(size_t done, size_t total)> progress;
  std::stop_token stop;
  // Opens the library a second time, so that its note list is read in two
  // parts at once; without it, or when it cannot, all is read on the
  // connection given.
  NotesDatabaseAccess* database = nullptr;
};

// A note that was not written, and why ("File name too long", a refused
// symbolic link).
struct LibraryExportSkippedNote {
  std::string path;  // the file it would have had, relative to the export folder
  std::string reason;
};

struct LibraryExportSummary {
  size_t notes = 0;             // notes in the library
  size_t written = 0;           // files written this time
  size_t unchanged = 0;         // left as they were: same modification time
  size_t lockedSkipped = 0;     // password-protected notes, not exported
  size_t withoutBody = 0;       // written from title and preview: no readable body
  size_t renamed = 0;           // moved to a new name (title or folder changed)
  size_t tablesUnreadable = 0;  // tables that could not be decoded (shown as placeholders)
  size_t folders = 0;
  std::vector<LibraryExportSkippedNote> skipped;  // could not be written
  // Notes whose body is past kMaxInflatedNoteBodyBytes, by the file they would have had.
  std::vector<std::string> overLimitSkipped;
  // Files of an earlier export whose notes are gone; left in place.
  std::vector<std::string> staleFiles;
};

// Exports the library open on `connection` into options.directory. Paths read
// back from the folder are used only when they stay inside it, and no symbolic
// link inside it is followed. A note that cannot be written is skipped and
// listed. Throws LibraryExportError, NotesDatabaseError, core::FileSystemError
// (the manifest cannot be written), and core::CancellationError when
// options.stop is requested. On every way out the manifest records the files
// written so far, so that the next run resumes.
LibraryExportSummary exportLibrary(NotesDatabaseConnection& connection, core::FileSystem& files,
                                   const LibraryExportOptions& options);

}  // namespace zephyl::notes_store
