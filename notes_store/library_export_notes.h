// The library's notes as an export keeps them while it runs: each note's texts
// in one allocation, and its folder as a number into the list's folders. A
// note row holds seven strings, three of them its folder's; a library of
// 100,000 notes held as rows costs several times its manifest. The preview,
// the longest of them and shown only for a note without a readable body, is
// read when such a note is written.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "notes_store/notes_database_records.h"

namespace zephyl::notes_store {

// A note's folder as the note list names it.
struct LibraryExportNoteFolder {
  std::string id;
  std::string accountName;
  std::string name;
};

class LibraryExportNote {
 public:
  LibraryExportNote(const NotesNoteRow& row, uint32_t folderNumber);

  std::string_view id() const { return std::string_view(texts_).substr(0, idEnd_); }
  std::string_view uuid() const { return std::string_view(texts_).substr(idEnd_, uuidEnd_ - idEnd_); }
  std::string_view title() const { return std::string_view(texts_).substr(uuidEnd_); }

  std::optional<int64_t> noteDataPK;
  std::optional<core::TimePoint> createdAt;
  std::optional<core::TimePoint> modifiedAt;
  uint32_t folder = 0;  // in LibraryExportNoteList::folders()
  bool locked = false;

 private:
  std::string texts_;  // id, uuid and title, one after another
  uint32_t idEnd_ = 0;
  uint32_t uuidEnd_ = 0;
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

 private:
  uint32_t folderOf(std::string_view id, std::string_view accountName, std::string_view name);

  std::vector<LibraryExportNote> notes_;
  std::vector<LibraryExportNoteFolder> folders_;
  std::unordered_map<std::string, uint32_t> folderNumbers_;  // id, account and name → folder
  std::string key_;  // a folder's key in folderNumbers_, made again for each note
};

}  // namespace zephyl::notes_store
