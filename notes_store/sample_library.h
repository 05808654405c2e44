// The sample library: a deterministic synthetic Apple Notes library of any size,
// for the demo and the benchmarks. Several accounts, nested folders, the trash,
// notes marked for deletion (1 and NULL), locked notes, and bodies that carry
// every paragraph style, inline formatting, links, attachments and a table.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace zephyl::notes_store {

struct SampleLibraryOptions {
  int noteCount = 200;
  int folderCount = 0;  // 0: derived from noteCount (100,000 notes give 2,000 folders)
  uint64_t seed = 1;
};

struct SampleLibrarySummary {
  int accounts = 0;
  int folders = 0;  // listed folders (trash and deleted folders not counted)
  int notes = 0;    // notes that the note list selects
  int lockedNotes = 0;
  int deletedNotes = 0;  // marked for deletion (1 or NULL)
  int trashedNotes = 0;  // in the trash folder
  int tables = 0;
  int links = 0;
  std::string storeUUID;
};

// Writes the library to `path` (which must not exist). The same options always
// give the same rows and bodies. `progress`, when set, is called with the number
// of notes written so far. Throws NotesLibraryBuilderError.
SampleLibrarySummary writeSampleLibrary(const std::string& path, const SampleLibraryOptions& options,
                                        const std::function<void(int)>& progress = {});

}  // namespace zephyl::notes_store
