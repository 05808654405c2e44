// What an earlier export recorded of this run's notes, matched to them as its
// manifest is read. A manifest held whole beside the notes costs more than the
// notes themselves; matched, a note's record is a few numbers. Its file's
// folder is one of the few an export has, and its name, as a rule, is the one
// the note's title makes ("Title.md", "Title (2).md"), kept as that number.
// Entries of notes that are gone are kept whole, apart.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/packed_strings.h"
#include "notes_store/library_export_manifest.h"
#include "notes_store/library_export_notes.h"

namespace zephyl::notes_store {

// What an earlier export recorded of one note.
struct LibraryExportEarlierFile {
  std::string path;                // relative to the export folder
  LibraryExportModified modified;  // of the note when written
};

class LibraryExportEarlierFiles {
 public:
  // No earlier export.
  LibraryExportEarlierFiles() = default;
  // Entries to come are matched to `notes`, which stay as they are until
  // finish(); a note is then named by its place in them.
  explicit LibraryExportEarlierFiles(const std::vector<LibraryExportNote>& notes);

  // An entry of the manifest; of a repeated id the last counts.
  void add(std::string_view id, std::string_view path, std::string_view modified);
  // Forgets the entries added so far: the manifest's text names its notes again.
  void restart();
  // Done adding; the notes may move from here on.
  void finish();

  bool has(uint32_t note) const { return note < slots_.size() && slots_[note].folder != kNone; }
  // What was recorded of the note at `note`, which is `current`, wherever it has moved.
  LibraryExportEarlierFile of(uint32_t note, const LibraryExportNote& current) const;
  // Its path alone, as of() gives it.
  std::string path(uint32_t note, const LibraryExportNote& current) const;
  // Its modification time alone.
  LibraryExportModified modified(uint32_t note, const LibraryExportNote& current) const;
  // Whether that is the note's own modification time: its file is of this version.
  bool modifiedAsNow(uint32_t note) const { return !(slots_[note].name & kModifiedApart); }
  // Whether that path is "<folder>/Title.md", named by the note's title alone.
  bool namedByTitle(uint32_t note, std::string_view folder) const {
    return (slots_[note].name & ~kModifiedApart) == 1 && folders_[slots_[note].folder] == folder;
  }

  // Entries whose notes are not among the notes, in id order.
  const LibraryExportManifest& gone() const { return gone_; }
  size_t size() const { return recorded_ + gone_.size(); }

 private:
  static constexpr uint32_t kNone = UINT32_MAX;
  // Marks in Slot::name.
  static constexpr uint32_t kNameText = 0x80000000;       // the rest is an index into names_
  static constexpr uint32_t kModifiedApart = 0x40000000;  // the time is in modifiedTexts_
  struct Slot {
    uint32_t folder = kNone;  // in folders_
    // The number the title's name takes ("Title (2).md"; 1 for "Title.md"),
    // or kNameText and where the name is; with kModifiedApart when the time
    // recorded is not the note's own, as it is for every note not changed since.
    uint32_t name = 0;
  };
  uint32_t noteOf(std::string_view id) const;
  uint32_t folderNumber(std::string_view folder);

  const std::vector<LibraryExportNote>* notes_ = nullptr;  // until finish()
  std::vector<uint32_t> byKey_;  // the notes' places in key order, when they are not in it
  std::vector<Slot> slots_;      // by note
  size_t recorded_ = 0;          // slots set
  std::vector<std::string> folders_;
  std::unordered_map<std::string, uint32_t> folderNumbers_;
  core::PackedStrings names_;                                // names no title makes
  std::unordered_map<uint32_t, std::string> modifiedTexts_;  // by note: times not the note's own
  LibraryExportManifest gone_;
  std::string stem_;      // made again for each entry
  std::string modified_;  // likewise
};

// `manifest`'s entries matched to `notes`.
LibraryExportEarlierFiles matchEarlierFiles(const std::vector<LibraryExportNote>& notes,
                                            const LibraryExportManifest& manifest);

}  // namespace zephyl::notes_store
