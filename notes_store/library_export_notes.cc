#include "notes_store/library_export_notes.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "notes_store/notes_object_identifier.h"

namespace zephyl::notes_store {

namespace {

// A note's texts are told apart by their sizes, put before them seven bits a
// byte: a title's takes one byte as a rule.
size_t varintSize(size_t value) {
  size_t bytes = 1;
  for (; value >= 0x80; value >>= 7) ++bytes;
  return bytes;
}

char* putVarint(char* out, size_t value) {
  for (; value >= 0x80; value >>= 7) *out++ = static_cast<char>((value & 0x7F) | 0x80);
  *out++ = static_cast<char>(value);
  return out;
}

const char* getVarint(const char* in, size_t& value) {
  value = 0;
  for (int shift = 0;; shift += 7) {
    const auto byte = static_cast<uint8_t>(*in++);
    value |= static_cast<size_t>(byte & 0x7F) << shift;
    if (!(byte & 0x80)) return in;
  }
}

// Whether the id's own part is what LibraryExportNoteId makes of the key, as
// it is but for ids of no usual form ("p007", "p-5", a key too large).
bool isKeyInDecimal(std::string_view own, int64_t key) {
  char digits[20];
  const auto [end, error] = std::to_chars(digits, digits + sizeof digits, key);
  return own == std::string_view(digits, static_cast<size_t>(end - digits));
}

}  // namespace

// A record for each of a library's notes is what an export holds the most of.
static_assert(sizeof(void*) != 8 || sizeof(LibraryExportNote) == 64);

char* LibraryExportNoteTexts::allocate(size_t size) {
  // The first block is sized for a small library; each after it is larger.
  constexpr size_t kFirstBlock = 64 * 1024;
  if (blocks_.empty()) blocks_.push_back(std::make_unique<std::pmr::monotonic_buffer_resource>(kFirstBlock));
  return static_cast<char*>(blocks_.back()->allocate(std::max<size_t>(size, 1), 1));
}

const char* LibraryExportNoteTexts::store(std::initializer_list<std::string_view> texts) {
  size_t size = 0;
  for (const std::string_view text : texts) size += text.size();
  char* start = allocate(size);
  char* end = start;
  for (const std::string_view text : texts) {
    std::memcpy(end, text.data(), text.size());
    end += text.size();
  }
  return start;
}

uint16_t LibraryExportNoteTexts::share(std::string_view shared) {
  SharedIdParts& parts = SharedIdParts::program();
  if (lastShared_ != SharedIdParts::kNone && parts.part(lastShared_) == shared) return lastShared_;
  const uint16_t number = parts.number(shared);
  if (number != SharedIdParts::kNone) lastShared_ = number;
  return number;
}

void LibraryExportNoteTexts::append(LibraryExportNoteTexts&& other) {
  for (auto& block : other.blocks_) blocks_.push_back(std::move(block));
  other.blocks_.clear();
}

LibraryExportNote::LibraryExportNote(const NotesNoteRow& row, uint32_t folderNumber,
                                     LibraryExportNoteTexts& texts)
    : folder(folderNumber), locked(row.isPasswordProtected != 0), key_(notesObjectKey(row.id).value_or(0)) {
  const LibraryExportNoteId split = splitNoteId(row.id);
  const std::string_view shared = split.shared, own = split.own;
  std::string_view kept[4];  // in the order texts() reads them
  size_t count = 0;
  sharedId_ = texts.share(shared);
  if (sharedId_ == SharedIdParts::kNone) {
    has_ |= kSharedIdText;
    kept[count++] = shared;
  }
  if (!isKeyInDecimal(own, key_)) {
    has_ |= kOwnIdText;
    kept[count++] = own;
  }
  if (const std::optional<UuidBytes> bytes = parseUuidBytes(row.uuid)) {
    uuid_ = *bytes;
  } else {
    has_ |= kUuidText;
    kept[count++] = row.uuid;
  }
  kept[count++] = row.title;
  size_t size = 0;
  for (size_t i = 0; i < count; ++i) size += varintSize(kept[i].size()) + kept[i].size();
  char* out = texts.allocate(size);
  texts_ = out;
  for (size_t i = 0; i < count; ++i) out = putVarint(out, kept[i].size());
  for (size_t i = 0; i < count; ++i) out = std::copy(kept[i].begin(), kept[i].end(), out);
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

LibraryExportNote::Texts LibraryExportNote::texts() const {
  Texts parts;
  std::string_view* order[4];
  size_t count = 0;
  if (has_ & kSharedIdText) order[count++] = &parts.sharedId;
  if (has_ & kOwnIdText) order[count++] = &parts.ownId;
  if (has_ & kUuidText) order[count++] = &parts.uuid;
  order[count++] = &parts.title;
  size_t sizes[4];
  const char* in = texts_;
  for (size_t i = 0; i < count; ++i) in = getVarint(in, sizes[i]);
  for (size_t i = 0; i < count; ++i) {
    *order[i] = {in, sizes[i]};
    in += sizes[i];
  }
  return parts;
}

LibraryExportNoteId LibraryExportNote::id() const {
  if (!(has_ & (kSharedIdText | kOwnIdText))) return {SharedIdParts::program().part(sharedId_), key_};
  const Texts parts = texts();
  const std::string_view shared =
      has_ & kSharedIdText ? parts.sharedId : SharedIdParts::program().part(sharedId_);
  if (has_ & kOwnIdText) return {shared, parts.ownId};
  return {shared, key_};
}

LibraryExportNoteUuid LibraryExportNote::uuid() const {
  if (has_ & kUuidText) return LibraryExportNoteUuid(texts().uuid);
  return LibraryExportNoteUuid(uuid_);
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
