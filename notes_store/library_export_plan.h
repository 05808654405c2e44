// What an export will write, decided before anything is written: the order in
// which notes choose names, each note's file and folder, the earlier files
// that notes keep or leave (renames), and the earlier files whose notes are
// gone. Pure: the library's notes and what an earlier export recorded of them
// in, names out.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/packed_strings.h"
#include "notes_store/library_export_earlier_files.h"
#include "notes_store/library_export_notes.h"
#include "notes_store/notes_database_records.h"

namespace zephyl::notes_store {

// What the plan decided for one note.
struct LibraryExportPlanEntry {
  static constexpr uint32_t kEarlierPath = UINT32_MAX;
  static constexpr uint32_t kNamedByTitle = 0x80000000;
  static constexpr uint32_t kNone = UINT32_MAX;
  // The note's place in LibraryExportPlan::earlier, or kNone when no earlier
  // export recorded it.
  uint32_t previous = kNone;
  // The note's file when it is not the earlier one (a new note's, a renamed
  // one's): as a rule kNamedByTitle and the number its name takes in its
  // folder ("Title (2).md"), else its place in LibraryExportPlan::newPaths;
  // kEarlierPath when the earlier file still fits, or the note is locked and
  // has no file.
  uint32_t newPath = kEarlierPath;
};

struct LibraryExportPlan {
  // The notes in naming order: older ones first, so that a new note never
  // takes an old one's name; as they were listed when the run writes nothing.
  // entries[i] is notes[i]'s.
  std::vector<LibraryExportNote> notes;
  LibraryExportNoteTexts noteTexts;  // where the notes' texts are
  std::vector<LibraryExportPlanEntry> entries;
  core::PackedStrings newPaths;
  size_t folders = 0;  // folders the export holds
  // The notes' folders in the export, by LibraryExportNote::folder.
  std::vector<std::string> exportFolders;
  // The notes' folders as the front matter shows them ("Account › Folder"), by
  // LibraryExportNote::folder.
  std::vector<std::string> folderDisplayPaths;
  std::vector<std::string> staleFiles;  // earlier files whose notes are gone
  LibraryExportEarlierFiles earlier;    // what the earlier export recorded

  // What the earlier export recorded of notes[index].
  std::optional<LibraryExportEarlierFile> previous(size_t index) const;
  // The file of notes[index], relative to the export folder; empty for a
  // locked note that no earlier export wrote.
  std::string target(size_t index) const;
};

// `earlier` is matched to `notes` as they are listed; so is `keptAsIs`, which
// says of each note whether its earlier file, if the note keeps it, needs no
// writing (it is there, of this version of the note).
LibraryExportPlan planLibraryExport(LibraryExportNoteList notes, const std::vector<NotesFolderRow>& folders,
                                    LibraryExportEarlierFiles earlier,
                                    const std::vector<bool>& keptAsIs = {});

}  // namespace zephyl::notes_store
