#include "notes_store/library_export_earlier_files.h"

#include <algorithm>
#include <numeric>

#include "notes_store/export_paths.h"
#include "notes_store/notes_object_identifier.h"

namespace zephyl::notes_store {
LibraryExportEarlierFiles::LibraryExportEarlierFiles(const std::vector<LibraryExportNote>& notes)
    : notes_(&notes) {
  const auto byKey = [&](uint32_t a, uint32_t b) { return notes[a].key() < notes[b].key(); };
  // The note list comes in key order as a rule.
  if (!std::is_sorted(notes.begin(), notes.end(), [](const LibraryExportNote& a, const LibraryExportNote& b) {
        return a.key() < b.key();
      })) {
    byKey_.resize(notes.size());
    std::iota(byKey_.begin(), byKey_.end(), 0);
    std::stable_sort(byKey_.begin(), byKey_.end(), byKey);
  }
}

uint32_t LibraryExportEarlierFiles::noteOf(std::string_view id) const {
  const std::vector<LibraryExportNote>& notes = *notes_;
  const int64_t key = notesObjectKey(id).value_or(0);
  const auto at = [&](size_t i) { return byKey_.empty() ? static_cast<uint32_t>(i) : byKey_[i]; };
  size_t low = 0, high = notes.size();
  while (low < high) {
    const size_t middle = low + (high - low) / 2;
    if (notes[at(middle)].key() < key) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  for (; low < notes.size() && notes[at(low)].key() == key; ++low) {
    if (notes[at(low)].id() == LibraryExportNoteId(id)) return at(low);
  }
  return kNone;
}

uint32_t LibraryExportEarlierFiles::folderNumber(std::string_view folder) {
  const auto [it, added] = folderNumbers_.try_emplace(std::string(folder), folders_.size());
  if (added) folders_.emplace_back(folder);
  return it->second;
}

void LibraryExportEarlierFiles::add(std::string_view id, std::string_view path, std::string_view modified) {
  const uint32_t note = notes_ ? noteOf(id) : kNone;
  if (note == kNone) {
    gone_.add(id, path, modified);
    return;
  }
  if (slots_.empty()) slots_.resize(notes_->size());
  Slot& slot = slots_[note];
  if (slot.folder == kNone) ++recorded_;
  const std::string_view folder = exportFolderOf(path);
  const std::string_view name = path.substr(folder.empty() ? 0 : folder.size() + 1);
  slot.folder = folderNumber(folder);
  stem_.clear();
  appendSafePathComponent(stem_, (*notes_)[note].title(), "Untitled");
  slot.name = exportNoteNameNumber(name, stem_);
  if (slot.name == 0) {
    slot.name = kNameText | static_cast<uint32_t>(names_.size());
    names_.push_back(name);
  }
  // Kept only when it is not the note's own: a note not changed since has
  // its own time, as formatIso8601 writes it, in the manifest.
  const std::optional<core::TimePoint> now = (*notes_)[note].modifiedAt();
  modified_ = now ? core::formatIso8601(*now) : std::string();
  if (modified == modified_) {
    modifiedTexts_.erase(note);
  } else {
    slot.name |= kModifiedApart;
    modifiedTexts_[note] = modified;
  }
}

void LibraryExportEarlierFiles::restart() {
  slots_.clear();
  recorded_ = 0;
  folders_.clear();
  folderNumbers_.clear();
  names_ = {};
  modifiedTexts_.clear();
  gone_ = {};
}

void LibraryExportEarlierFiles::finish() {
  gone_.sort();
  notes_ = nullptr;
  std::vector<uint32_t>().swap(byKey_);
  folderNumbers_ = {};
  stem_ = {};
  modified_ = {};
}

std::string LibraryExportEarlierFiles::path(uint32_t note, const LibraryExportNote& current) const {
  const Slot& slot = slots_[note];
  const uint32_t name = slot.name & ~kModifiedApart;
  if (name & kNameText) return exportPathIn(folders_[slot.folder], names_[name & ~kNameText]);
  return exportNotePath(folders_[slot.folder], current.title(), name);
}

LibraryExportModified LibraryExportEarlierFiles::modified(uint32_t note,
                                                          const LibraryExportNote& current) const {
  if (!modifiedAsNow(note)) return std::string_view(modifiedTexts_.at(note));
  return LibraryExportModified::of(current.modifiedAt());
}

LibraryExportEarlierFile LibraryExportEarlierFiles::of(uint32_t note,
                                                       const LibraryExportNote& current) const {
  return {path(note, current), modified(note, current)};
}

LibraryExportEarlierFiles matchEarlierFiles(const std::vector<LibraryExportNote>& notes,
                                            const LibraryExportManifest& manifest) {
  LibraryExportEarlierFiles earlier(notes);
  for (size_t i = 0; i < manifest.size(); ++i) {
    const LibraryExportManifestEntry entry = manifest[i];
    earlier.add(entry.id.text(), entry.path, entry.modified.formatted());
  }
  earlier.finish();
  return earlier;
}

}  // namespace zephyl::notes_store
