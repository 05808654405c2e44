// What an export will write, decided before anything is written: the order in
// which notes choose names, each note's file and folder, the earlier files
// that notes keep or leave (renames), and the earlier files whose notes are
// gone. Pure: the library's rows and the earlier manifest in, names out.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "notes_store/library_export_notes.h"
#include "notes_store/notes_database_records.h"

namespace zephyl::notes_store {

inline constexpr std::string_view kExportManifestName = ".zephyl-export.json";

// What the manifest of an earlier export says of one note.
struct LibraryExportManifestEntry {
  std::string path;      // relative to the export folder
  std::string modified;  // ISO 8601 modification time of the note when written
  bool operator==(const LibraryExportManifestEntry&) const = default;
};

using LibraryExportManifest = std::map<std::string, LibraryExportManifestEntry>;  // note id → entry

// What the plan decided for one note.
struct LibraryExportPlanEntry {
  static constexpr uint32_t kEarlierPath = UINT32_MAX;
  // What an earlier export recorded of the note, in the manifest the plan was
  // made from; null when it had nothing.
  const LibraryExportManifestEntry* previous = nullptr;
  // The note's file in LibraryExportPlan::newPaths when it is not the earlier
  // one (a new note's, a renamed one's); kEarlierPath when the earlier file
  // still fits, or the note is locked and has no file.
  uint32_t newPath = kEarlierPath;
};

struct LibraryExportPlan {
  // The notes in naming order: older ones first, so that a new note never
  // takes an old one's name. entries[i] is notes[i]'s.
  std::vector<LibraryExportNote> notes;
  std::vector<LibraryExportPlanEntry> entries;
  std::vector<std::string> newPaths;
  size_t folders = 0;  // folders the export holds
  // The notes' folders as the front matter shows them ("Account › Folder"), by
  // LibraryExportNote::folder.
  std::vector<std::string> folderDisplayPaths;
  std::vector<std::string> staleFiles;  // earlier files whose notes are gone

  // The file of notes[index], relative to the export folder; empty for a
  // locked note that no earlier export wrote.
  const std::string& target(size_t index) const;
};

LibraryExportPlan planLibraryExport(LibraryExportNoteList notes, const std::vector<NotesFolderRow>& folders,
                                    const LibraryExportManifest& earlier);

// The folder part of a path relative to the export folder ("" at the top).
std::string exportFolderOf(const std::string& relativePath);

}  // namespace zephyl::notes_store
