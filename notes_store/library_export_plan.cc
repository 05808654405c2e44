#include "notes_store/library_export_plan.h"

#include <algorithm>
#include <limits>
#include <map>
#include <optional>
#include <unordered_map>

#include "notes_store/component_path.h"
#include "notes_store/export_paths.h"
#include "notes_store/folder_display_path.h"
#include "notes_store/notes_object_identifier.h"

namespace zephyl::notes_store {
namespace {

// Folder paths of the export: each Notes folder path as safe components, unique
// within their parent.
class FolderLayout {
 public:
  explicit FolderLayout(ExportPathAllocator& allocator) : allocator_(allocator) {}

  std::string relativePath(const std::vector<std::string>& components) {
    std::string key;
    std::string path;
    for (const std::string& component : components) {
      key += makeComponentPath({component});
      auto it = paths_.find(key);
      if (it == paths_.end()) {
        // The folder owns its name under its component path, which no note id
        // can equal (it starts with a length).
        it = paths_.emplace(key, std::string()).first;
        it->second =
            allocator_.allocate(path, safePathComponent(component, "Untitled Folder"), "", it->first);
      }
      path = it->second;
    }
    return path;
  }

  size_t count() const { return paths_.size(); }

 private:
  ExportPathAllocator& allocator_;
  std::map<std::string, std::string> paths_;  // component path → relative folder path
};

// True when an earlier file name still fits the note: same folder, a name made
// from the same title.
bool stillFits(std::string_view path, std::string_view folder, const std::string& stem) {
  const size_t slash = path.rfind('/');
  if (path.substr(0, slash == std::string_view::npos ? 0 : slash) != folder) return false;
  const std::string_view name = path.substr(slash == std::string_view::npos ? 0 : slash + 1);
  if (name.size() == stem.size() + 3 && name.starts_with(stem) && name.ends_with(".md")) return true;
  const std::string key = fileNameKey(name);
  return key == fileNameKey(stem + ".md") || key.starts_with(fileNameKey(stem + " ("));
}

// The notes of an earlier manifest, found by note id. Ids differ only near
// their end ("x-coredata://<store>/ICNote/p<key>"), so they are looked up by
// the number there, in a sorted array, and compared whole only on a match: a
// library's worth of string comparisons from the start costs several times more.
class EarlierNotes {
 public:
  explicit EarlierNotes(const LibraryExportManifest& manifest) : manifest_(manifest) {
    notes_.reserve(manifest.size());
    std::string id;  // made again for each entry
    for (uint32_t i = 0; i < manifest.size(); ++i) {
      const LibraryExportNoteId entryId = manifest[i].id;
      id.assign(entryId.shared).append(entryId.own);
      notes_.push_back({notesObjectKey(id).value_or(-1), i});
    }
    std::sort(notes_.begin(), notes_.end(), [](const Note& a, const Note& b) { return a.key < b.key; });
  }

  // The manifest's entry of `note`, which is then claimed;
  // LibraryExportManifest::kNone when none. Asked in increasing key order,
  // each look starts where the last one ended.
  uint32_t claim(const LibraryExportNote& note) {
    const int64_t key = note.key();
    auto from = notes_.begin() + (cursor_ < notes_.size() && notes_[cursor_].key <= key ? cursor_ : 0);
    auto it = std::lower_bound(from, notes_.end(), key,
                               [](const Note& recorded, int64_t wanted) { return recorded.key < wanted; });
    cursor_ = it - notes_.begin();
    for (; it != notes_.end() && it->key == key; ++it) {
      if (manifest_[it->entry].id == note.id()) {
        it->claimed = true;
        return it->entry;
      }
    }
    return LibraryExportManifest::kNone;
  }

  // The files of the notes no one claimed, in the manifest's order.
  std::vector<std::string> unclaimedPaths() const {
    std::vector<uint32_t> unclaimed;
    for (const Note& note : notes_) {
      if (!note.claimed) unclaimed.push_back(note.entry);
    }
    std::sort(unclaimed.begin(), unclaimed.end());
    std::vector<std::string> paths;
    paths.reserve(unclaimed.size());
    for (const uint32_t entry : unclaimed) paths.emplace_back(manifest_.path(entry));
    return paths;
  }

 private:
  struct Note {
    int64_t key;
    uint32_t entry;  // in the manifest
    bool claimed = false;
  };
  const LibraryExportManifest& manifest_;
  std::vector<Note> notes_;
  size_t cursor_ = 0;  // where the last look ended
};

}  // namespace

std::optional<LibraryExportManifestEntry> LibraryExportPlan::previous(size_t index) const {
  const uint32_t entry = entries[index].previous;
  if (entry == LibraryExportManifest::kNone) return std::nullopt;
  return (*earlier)[entry];
}

std::string_view LibraryExportPlan::target(size_t index) const {
  const LibraryExportPlanEntry& entry = entries[index];
  if (entry.newPath != LibraryExportPlanEntry::kEarlierPath) return newPaths[entry.newPath];
  return entry.previous != LibraryExportManifest::kNone ? earlier->path(entry.previous) : std::string_view();
}

std::string_view exportFolderOf(std::string_view relativePath) {
  const size_t slash = relativePath.rfind('/');
  return slash == std::string_view::npos ? std::string_view() : relativePath.substr(0, slash);
}

namespace {

// The note's id, kept in `owners`.
std::string_view ownerOf(const LibraryExportNote& note, LibraryExportNoteTexts& owners) {
  const LibraryExportNoteId id = note.id();
  return {owners.store({id.shared, id.own}), id.size()};
}

// Puts notes[from[i]] at i, moving each note once.
void permute(std::vector<LibraryExportNote>& notes, const std::vector<uint32_t>& from) {
  std::vector<bool> placed(notes.size());
  for (size_t cycle = 0; cycle < notes.size(); ++cycle) {
    if (placed[cycle] || from[cycle] == cycle) continue;
    LibraryExportNote first = std::move(notes[cycle]);
    size_t to = cycle;
    for (; from[to] != cycle; to = from[to]) {
      notes[to] = std::move(notes[from[to]]);
      placed[to] = true;
    }
    notes[to] = std::move(first);
    placed[to] = true;
  }
}

// Puts the plan's notes in naming order, older ones first, so that a new note
// never takes an old one's name; finds what the earlier manifest says of each,
// and lists the earlier files whose notes are gone.
void putInNamingOrder(LibraryExportPlan& plan, const LibraryExportManifest& earlier) {
  std::vector<LibraryExportNote>& notes = plan.notes;
  struct NamingOrder {
    int64_t time;  // microseconds; kNoTime first
    uint32_t index;
    // What an earlier export recorded of the note. Looked up in the order the
    // notes come, by key, so that one look into the manifest follows another.
    uint32_t previous;
  };
  constexpr int64_t kNoTime = std::numeric_limits<int64_t>::min();
  std::vector<NamingOrder> order(notes.size());
  {
    EarlierNotes earlierNotes(earlier);
    for (uint32_t i = 0; i < notes.size(); ++i) {
      const auto time = notes[i].createdAt() ? notes[i].createdAt() : notes[i].modifiedAt();
      order[i] = {time ? time->time_since_epoch().count() : kNoTime, i, earlierNotes.claim(notes[i])};
    }
    // Known once every note has claimed its entry: the lookup is not kept for the rest.
    plan.staleFiles = earlierNotes.unclaimedPaths();
  }
  std::sort(order.begin(), order.end(), [&](const NamingOrder& a, const NamingOrder& b) {
    if (a.time != b.time) return a.time < b.time;
    return notes[a.index].key() < notes[b.index].key();
  });
  plan.entries.resize(notes.size());
  {
    std::vector<uint32_t> from(notes.size());
    for (size_t i = 0; i < order.size(); ++i) {
      from[i] = order[i].index;
      plan.entries[i].previous = order[i].previous;
    }
    std::vector<NamingOrder>().swap(order);
    permute(notes, from);
  }
}

// Gives each note whose earlier file does not fit it a new name. Names are
// unique within their folder only: the notes are named folder by folder, in
// naming order within each, and a folder's names are forgotten once its notes
// have theirs. Only the largest folder's names are held.
void nameFolderByFolder(LibraryExportPlan& plan, ExportPathAllocator& allocator,
                        const std::vector<std::optional<std::string>>& folderPaths,
                        const std::vector<bool>& fits) {
  const std::vector<LibraryExportNote>& notes = plan.notes;
  std::vector<uint32_t> exportFolders(folderPaths.size());  // by note folder: its export folder's number
  {
    std::unordered_map<std::string_view, uint32_t> numbers;
    for (size_t folder = 0; folder < folderPaths.size(); ++folder) {
      if (folderPaths[folder])
        exportFolders[folder] = numbers.try_emplace(*folderPaths[folder], numbers.size()).first->second;
    }
  }
  std::vector<uint32_t> toName;
  for (uint32_t i = 0; i < notes.size(); ++i) {
    if (!fits[i]) toName.push_back(i);
  }
  // At most: the folder, a slash, the longest name a title makes, a number and an extension.
  size_t pathBytes = 0;
  for (const uint32_t i : toName) {
    pathBytes += folderPaths[notes[i].folder]->size() + 1 + std::max<size_t>(notes[i].title().size() + 1, 9) +
                 sizeof(" (4294967295).md");
  }
  plan.newPaths.reserve(toName.size(), pathBytes);
  std::stable_sort(toName.begin(), toName.end(), [&](uint32_t a, uint32_t b) {
    return exportFolders[notes[a].folder] < exportFolders[notes[b].folder];
  });
  LibraryExportNoteTexts owners;  // the ids of the folder's notes named so far, which the allocator holds
  for (size_t n = 0; n < toName.size(); ++n) {
    const uint32_t i = toName[n];
    const std::string& folderPath = *folderPaths[notes[i].folder];
    plan.entries[i].newPath = static_cast<uint32_t>(plan.newPaths.size());
    plan.newPaths.push_back(allocator.allocate(folderPath, safePathComponent(notes[i].title(), "Untitled"),
                                               ".md", ownerOf(notes[i], owners)));
    if (n + 1 == toName.size() ||
        exportFolders[notes[toName[n + 1]].folder] != exportFolders[notes[i].folder]) {
      allocator.release(folderPath);
      owners = {};
    }
  }
}

}  // namespace

LibraryExportPlan planLibraryExport(LibraryExportNoteList list, const std::vector<NotesFolderRow>& folders,
                                    const LibraryExportManifest& earlier) {
  LibraryExportPlan plan;
  plan.earlier = &earlier;
  plan.notes = std::move(list.notes());
  plan.noteTexts = list.takeTexts();
  std::vector<LibraryExportNote>& notes = plan.notes;
  putInNamingOrder(plan, earlier);

  ExportPathAllocator allocator;
  allocator.claim(std::string(kExportManifestName), "manifest");
  std::unordered_map<std::string, std::vector<std::string>> folderComponents;
  std::unordered_map<std::string, std::string> folderDisplay;
  for (const NotesFolderRow& folder : folders) {
    folderComponents[folder.id] =
        parseComponentPath(folder.componentPath).value_or(std::vector{folder.title});
    folderDisplay[folder.id] = folder.path;
  }
  auto componentsOf = [&](const LibraryExportNoteFolder& folder) {
    auto it = folderComponents.find(folder.id);
    if (it != folderComponents.end()) return it->second;
    // A folder past the folder list's cap.
    std::vector<std::string> components;
    if (!folder.accountName.empty()) components.push_back(folder.accountName);
    components.push_back(folder.name);
    return components;
  };

  // Every file of the earlier export stays reserved for its note, even one
  // about to be renamed, so that no other note is written over it: before any
  // new name is handed out, though Markdown files, nearly all of them, only
  // once some note needs a new name. An earlier file is its own owner (no
  // note's id is a path), and outlives the plan's making.
  const auto reserveEarlier = [&](bool markdown) {
    for (size_t i = 0; i < earlier.size(); ++i) {
      const std::string_view path = earlier.path(i);
      if (path.ends_with(".md") == markdown) allocator.reserve(path, path);
    }
  };
  reserveEarlier(false);
  allocator.reserveMarkdownLater([reserveEarlier] { reserveEarlier(true); });
  // A note's export folder and display path depend on its folder alone: worked
  // out once per folder, as notes first come to it.
  const std::vector<LibraryExportNoteFolder>& noteFolders = list.folders();
  std::vector<std::optional<std::string>> folderPaths(noteFolders.size());
  plan.folderDisplayPaths.resize(noteFolders.size());
  FolderLayout layout(allocator);
  std::vector<bool> fits(notes.size());  // the earlier file's name still fits the note
  for (size_t i = 0; i < notes.size(); ++i) {
    const LibraryExportNote& note = notes[i];
    std::optional<std::string>& folderPath = folderPaths[note.folder];
    if (!folderPath) {
      const LibraryExportNoteFolder& folder = noteFolders[note.folder];
      plan.folderDisplayPaths[note.folder] =
          folderDisplayPath(folderDisplay, folder.id, folder.accountName, folder.name);
      folderPath = layout.relativePath(componentsOf(folder));
    }
    const std::optional<LibraryExportManifestEntry> previous = plan.previous(i);
    // A locked note has no file, and takes no name from the notes after it.
    fits[i] = note.locked || (previous && stillFits(previous->path, *folderPath,
                                                    safePathComponent(note.title(), "Untitled")));
  }
  nameFolderByFolder(plan, allocator, folderPaths, fits);

  plan.folders = layout.count();
  return plan;
}

}  // namespace zephyl::notes_store
