// The library's notes as an export keeps them while it runs: each note a small
// record, its texts end to end in blocks the list owns, and its folder as a
// number into the list's folders. A note row holds seven strings, three of
// them its folder's; a library of 100,000 notes held as rows costs several
// times its manifest. The preview, the longest of them and shown only for a
// note without a readable body, is read when such a note is written.
#pragma once

#include <cstdint>
#include <memory>
#include <memory_resource>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "notes_store/library_export_note_id.h"
#include "notes_store/notes_database_records.h"

namespace zephyl::notes_store {

// A note's folder as the note list names it.
struct LibraryExportNoteFolder {
  std::string id;
  std::string accountName;
  std::string name;
};

// Where notes keep their texts: blocks that never move, so that a note may
// point into them however the notes themselves are moved.
class LibraryExportNoteTexts {
 public:
  // A copy of `texts` one after another; valid while this or what it is
  // appended to lives.
  const char* store(std::initializer_list<std::string_view> texts);
  // The one copy of `text`, for a text that many notes share; as long-lived.
  std::string_view share(std::string_view text);
  void append(LibraryExportNoteTexts&& other);

 private:
  std::vector<std::unique_ptr<std::pmr::monotonic_buffer_resource>> blocks_;
  std::vector<std::string_view> shared_;
};

class LibraryExportNote {
 public:
  LibraryExportNote(const NotesNoteRow& row, uint32_t folderNumber, LibraryExportNoteTexts& texts);

  LibraryExportNoteId id() const { return {{sharedId_, sharedIdSize_}, {texts_, ownIdSize_}}; }
  int64_t key() const { return key_; }  // the number its id ends in; 0 when none
  std::string_view uuid() const { return {texts_ + ownIdSize_, uuidSize_}; }
  std::string_view title() const { return {texts_ + ownIdSize_ + uuidSize_, titleSize_}; }
  std::optional<int64_t> noteDataPK() const;
  std::optional<core::TimePoint> createdAt() const;
  std::optional<core::TimePoint> modifiedAt() const;

  uint32_t folder = 0;  // in LibraryExportNoteList::folders()
  bool locked = false;

 private:
  enum Has : uint8_t { kNoteData = 1, kCreated = 2, kModified = 4 };
  const char* sharedId_;
  const char* texts_;  // the id's own part, the uuid and the title, one after another
  uint32_t sharedIdSize_;
  uint32_t ownIdSize_;
  uint32_t uuidSize_;
  uint32_t titleSize_;
  int64_t key_ = 0;
  uint8_t has_ = 0;  // which of the three below are set
  int64_t noteDataPK_ = 0;
  int64_t createdAt_ = 0;  // microseconds since 1970
  int64_t modifiedAt_ = 0;
};

class LibraryExportNoteList {
 public:
  // Room for `count` notes. Pages of it that no note reaches are never touched.
  void reserve(size_t count) { notes_.reserve(count); }
  void add(const NotesNoteRow& row);
  // Adds `other`'s notes after these.
  void append(LibraryExportNoteList&& other);

  std::vector<LibraryExportNote>& notes() { return notes_; }
  const std::vector<LibraryExportNote>& notes() const { return notes_; }
  const std::vector<LibraryExportNoteFolder>& folders() const { return folders_; }
  // The notes' texts, which must outlive them wherever they are moved.
  LibraryExportNoteTexts takeTexts() { return std::move(texts_); }

 private:
  uint32_t folderOf(std::string_view id, std::string_view accountName, std::string_view name);

  std::vector<LibraryExportNote> notes_;
  LibraryExportNoteTexts texts_;
  std::vector<LibraryExportNoteFolder> folders_;
  std::unordered_map<std::string, uint32_t> folderNumbers_;  // id, account and name → folder
  std::string key_;  // a folder's key in folderNumbers_, made again for each note
};

}  // namespace zephyl::notes_store
