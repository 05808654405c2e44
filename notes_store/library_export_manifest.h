// The manifest an export leaves in its folder (".zephyl-export.json"): each
// note's file and the modification time it was written at. A large library's
// manifest runs to tens of megabytes and is read on every export, so it is
// read without a document tree into one block of text, and written as it is
// streamed out.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/apple_time.h"
#include "notes_store/library_export_note_id.h"

namespace zephyl::notes_store {

inline constexpr std::string_view kExportManifestName = ".zephyl-export.json";

// A note's modification time as a manifest records it (ISO 8601): the text
// read from a manifest, or a note's time, formatted only when written.
struct LibraryExportModified {
  std::string_view text;  // when not kept as a time
  std::optional<core::TimePoint> time;

  LibraryExportModified() = default;
  LibraryExportModified(std::string_view recorded) : text(recorded) {}
  LibraryExportModified(const char* recorded) : text(recorded) {}
  explicit LibraryExportModified(core::TimePoint recorded) : time(recorded) {}
  // What a manifest records of a note modified at `modified` ("" for none).
  static LibraryExportModified of(const std::optional<core::TimePoint>& modified) {
    return modified ? LibraryExportModified(*modified) : LibraryExportModified("");
  }

  std::string formatted() const;
  friend bool operator==(const LibraryExportModified& a, const LibraryExportModified& b) {
    return a.formatted() == b.formatted();
  }
};

// What a manifest says of one note. Views into the manifest it came from.
struct LibraryExportManifestEntry {
  LibraryExportNoteId id;
  std::string_view path;           // relative to the export folder
  LibraryExportModified modified;  // of the note when written
  bool operator==(const LibraryExportManifestEntry&) const = default;
};

// Notes a manifest records, in id order; their texts share one allocation.
class LibraryExportManifest {
 public:
  LibraryExportManifest() = default;
  // In any order; of a repeated id the last counts.
  LibraryExportManifest(std::initializer_list<LibraryExportManifestEntry> entries);

  // Adds an entry at the end. Out of id order, or repeating an id, the
  // entries are put right by sort().
  void add(const LibraryExportNoteId& id, std::string_view path, std::string_view modified);
  // Puts the entries in id order, keeping the last of a repeated id.
  void sort();

  size_t size() const { return records_.size(); }
  bool empty() const { return records_.empty(); }
  LibraryExportManifestEntry operator[](size_t index) const;
  // operator[](index).path, for lookups that need no more.
  std::string_view path(size_t index) const;

  bool operator==(const LibraryExportManifest& other) const;

 private:
  struct Record {
    uint64_t offset;  // of the id in texts_, with path and modification time after it
    uint32_t idSize;
    uint32_t pathSize;
    uint32_t modifiedSize;
  };
  LibraryExportNoteId idOf(const Record& record) const {
    return std::string_view(texts_.data() + record.offset, record.idSize);
  }

  std::string texts_;
  std::vector<Record> records_;
  bool sorted_ = true;  // in id order, no id repeated
};

// What reading a manifest's text hands out.
struct LibraryExportManifestReading {
  // Each note the text records, in the text's order.
  std::function<void(std::string_view id, std::string_view path, std::string_view modified)> entry;
  // The text names its notes again: the entries handed out so far do not count.
  std::function<void()> restart;
  // Now and then: the text before `end` will not be read again.
  std::function<void(size_t end)> doneWith;
};

// Reads a manifest's text, handing out its entries as they are read; false
// when `text` is not a manifest of ours: not JSON, not shaped like one, or
// naming a path outside the export folder. The entries handed out then do
// not count.
bool readLibraryExportManifest(std::string_view text, const LibraryExportManifestReading& reading);

// A manifest's text, handed out in pieces as its entries are added in id
// order: a JSON object with one space of indent per level, keys sorted,
// invalid UTF-8 replaced, and a final newline.
class LibraryExportManifestFormatter {
 public:
  explicit LibraryExportManifestFormatter(std::function<void(std::string_view)> piece);
  // An entry without a path is left out: its note has a place in the
  // manifest but no file yet.
  void add(const LibraryExportManifestEntry& entry);
  // Hands out the rest; nothing may be added after.
  void finish();

 private:
  std::function<void(std::string_view)> piece_;
  std::string out_ = "{\n \"notes\": {";
  bool first_ = true;
};

void formatLibraryExportManifest(const LibraryExportManifest& manifest,
                                 const std::function<void(std::string_view)>& piece);

}  // namespace zephyl::notes_store
