#include "notes_store/library_export_notes.h"

#include <algorithm>
#include <cstring>

#include "notes_store/notes_object_identifier.h"

namespace zephyl::notes_store {

const char* LibraryExportNoteTexts::store(std::initializer_list<std::string_view> texts) {
  // The first block is sized for a small library; each after it is larger.
  constexpr size_t kFirstBlock = 64 * 1024;
  if (blocks_.empty()) blocks_.push_back(std::make_unique<std::pmr::monotonic_buffer_resource>(kFirstBlock));
  size_t size = 0;
  for (const std::string_view text : texts) size += text.size();
  auto* start = static_cast<char*>(blocks_.back()->allocate(std::max<size_t>(size, 1), 1));
  char* end = start;
  for (const std::string_view text : texts) {
    std::memcpy(end, text.data(), text.size());
    end += text.size();
  }
  return start;
}

std::string_view LibraryExportNoteTexts::share(std::string_view text) {
  if (const size_t found = findSharedIdPart(shared_, text); found < shared_.size()) return shared_[found];
  return shared_.emplace_back(store({text}), text.size());
}

void LibraryExportNoteTexts::append(LibraryExportNoteTexts&& other) {
  for (auto& block : other.blocks_) blocks_.push_back(std::move(block));
  other.blocks_.clear();
  shared_.insert(shared_.end(), other.shared_.begin(), other.shared_.end());
  other.shared_.clear();
}

LibraryExportNote::LibraryExportNote(const NotesNoteRow& row, uint32_t folderNumber,
                                     LibraryExportNoteTexts& texts)
    : folder(folderNumber),
      locked(row.isPasswordProtected != 0),
      uuidSize_(static_cast<uint32_t>(row.uuid.size())),
      titleSize_(static_cast<uint32_t>(row.title.size())),
      key_(notesObjectKey(row.id).value_or(0)) {
  const auto [shared, own] = splitNoteId(row.id);
  const std::string_view kept = texts.share(shared);
  sharedId_ = kept.data();
  sharedIdSize_ = static_cast<uint32_t>(kept.size());
  texts_ = texts.store({own, row.uuid, row.title});
  ownIdSize_ = static_cast<uint32_t>(own.size());
  if (row.noteDataPK) {
    has_ |= kNoteData;
    noteDataPK_ = *row.noteDataPK;
  }
  if (row.createdAt) {
    has_ |= kCreated;
    createdAt_ = row.createdAt->time_since_epoch().count();
  }
  if (row.modifiedAt) {
    has_ |= kModified;
    modifiedAt_ = row.modifiedAt->time_since_epoch().count();
  }
}

std::optional<int64_t> LibraryExportNote::noteDataPK() const {
  if (!(has_ & kNoteData)) return std::nullopt;
  return noteDataPK_;
}

std::optional<core::TimePoint> LibraryExportNote::createdAt() const {
  if (!(has_ & kCreated)) return std::nullopt;
  return core::TimePoint(std::chrono::microseconds(createdAt_));
}

std::optional<core::TimePoint> LibraryExportNote::modifiedAt() const {
  if (!(has_ & kModified)) return std::nullopt;
  return core::TimePoint(std::chrono::microseconds(modifiedAt_));
}

void LibraryExportNoteList::add(const NotesNoteRow& row) {
  notes_.emplace_back(row, folderOf(row.folderID, row.accountName, row.folderName), texts_);
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
  texts_.append(std::move(other.texts_));
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
