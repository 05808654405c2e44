#include "notes_store/library_export_notes.h"

namespace zephyl::notes_store {

LibraryExportNote::LibraryExportNote(const NotesNoteRow& row, uint32_t folderNumber)
    : noteDataPK(row.noteDataPK),
      createdAt(row.createdAt),
      modifiedAt(row.modifiedAt),
      folder(folderNumber),
      locked(row.isPasswordProtected != 0) {
  texts_.reserve(row.id.size() + row.uuid.size() + row.title.size());
  texts_ += row.id;
  idEnd_ = static_cast<uint32_t>(texts_.size());
  texts_ += row.uuid;
  uuidEnd_ = static_cast<uint32_t>(texts_.size());
  texts_ += row.title;
}

void LibraryExportNoteList::add(const NotesNoteRow& row) {
  notes_.emplace_back(row, folderOf(row.folderID, row.accountName, row.folderName));
}

void LibraryExportNoteList::append(LibraryExportNoteList&& other) {
  std::vector<uint32_t> renumbered;
  renumbered.reserve(other.folders_.size());
  for (const LibraryExportNoteFolder& folder : other.folders_) {
    renumbered.push_back(folderOf(folder.id, folder.accountName, folder.name));
  }
  notes_.reserve(notes_.size() + other.notes_.size());
  for (LibraryExportNote& note : other.notes_) {
    note.folder = renumbered[note.folder];
    notes_.push_back(std::move(note));
  }
  other = {};
}

uint32_t LibraryExportNoteList::folderOf(std::string_view id, std::string_view accountName,
                                         std::string_view name) {
  key_.assign(id);
  ((key_ += '\0') += accountName) += '\0';
  key_ += name;
  if (const auto it = folderNumbers_.find(key_); it != folderNumbers_.end()) return it->second;
  const auto number = static_cast<uint32_t>(folders_.size());
  folderNumbers_.emplace(key_, number);
  folders_.push_back({std::string(id), std::string(accountName), std::string(name)});
  return number;
}

}  // namespace zephyl::notes_store
