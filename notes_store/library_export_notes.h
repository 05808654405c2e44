// The library's notes as an export keeps them while it runs: each note a small
// record, its texts end to end in blocks the list owns, and its folder as a
// number into the list's folders. A note row holds seven strings, three of
// them its folder's; a library of 100,000 notes held as rows costs several
// times its manifest. The preview, the longest of them and shown only for a
// note without a readable body, is read when such a note is written.
//
// A library's worth of records is most of what an export holds, so a record
// keeps only what it cannot make again: the id's shared part as a number, its
// own part only where it is not the key in decimal, the UUID as 16 bytes
// where it is in the usual form.
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
#include "notes_store/library_export_note_uuid.h"
#include "notes_store/notes_database_records.h"
#include "notes_store/shared_id_parts.h"

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
  // Room for `size` bytes, as long-lived.
  char* allocate(size_t size);
  // The number of a shared id part in SharedIdParts::program(); the last one
  // asked for is remembered, as a library's ids share one.
  uint16_t share(std::string_view shared);
  void append(LibraryExportNoteTexts&& other);

 private:
  std::vector<std::unique_ptr<std::pmr::monotonic_buffer_resource>> blocks_;
  uint16_t lastShared_ = SharedIdParts::kNone;
};

class LibraryExportNote {
 public:
  LibraryExportNote(const NotesNoteRow& row, uint32_t folderNumber, LibraryExportNoteTexts& texts);

  // Its own part may be written into the id itself: a copy of the id lasts
  // as long as the note's texts, a view of its own part as long as the id.
  LibraryExportNoteId id() const;
  int64_t key() const { return key_; }  // the number its id ends in; 0 when none
  LibraryExportNoteUuid uuid() const;
  std::string_view title() const { return texts().title; }
  std::optional<int64_t> noteDataPK() const;
  std::optional<core::TimePoint> createdAt() const;
  std::optional<core::TimePoint> modifiedAt() const;

  uint32_t folder = 0;  // in LibraryExportNoteList::folders()
  bool locked = false;

 private:
  enum Has : uint8_t {
    kNoteData = 1,
    kCreated = 2,
    kModified = 4,
    kSharedIdText = 8,  // the id's shared part is in texts_, having no number
    kOwnIdText = 16,    // the id's own part is in texts_, being other than the key
    kUuidText = 32,     // the uuid is in texts_, being in no usual form
  };
  struct Texts {
    std::string_view sharedId, ownId, uuid, title;
  };
  Texts texts() const;

  uint8_t has_ = 0;
  uint16_t sharedId_ = SharedIdParts::kNone;  // in SharedIdParts::program()
  int64_t key_ = 0;
  int64_t noteDataPK_ = 0;
  int64_t createdAt_ = 0;  // microseconds since 1970
  int64_t modifiedAt_ = 0;
  // The sizes of the texts it has, each as a varint, then the texts: those
  // of the id and the uuid that has_ names, and the title.
  const char* texts_ = nullptr;
  UuidBytes uuid_{};
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
