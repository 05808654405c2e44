#include "notes_store/library_export_plan.h"

#include <algorithm>
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
// library's worth of string hashes and lookups costs several times more.
class EarlierNotes {
 public:
  explicit EarlierNotes(const LibraryExportManifest& manifest) {
    notes_.reserve(manifest.size());
    for (const auto& [id, entry] : manifest) {
      notes_.push_back({notesObjectKey(id).value_or(-1), notes_.size(), &id, &entry});
    }
    std::sort(notes_.begin(), notes_.end(), [](const Note& a, const Note& b) { return a.key < b.key; });
  }

  // What the manifest says of the note `id`, whose number is `key`, which is
  // then claimed; null when nothing. Asked in increasing key order, each look
  // starts where the last one ended.
  const LibraryExportManifestEntry* claim(int64_t key, const std::string& id) {
    auto from = notes_.begin() + (cursor_ < notes_.size() && notes_[cursor_].key <= key ? cursor_ : 0);
    auto it = std::lower_bound(from, notes_.end(), key,
                               [](const Note& note, int64_t wanted) { return note.key < wanted; });
    cursor_ = it - notes_.begin();
    for (; it != notes_.end() && it->key == key; ++it) {
      if (*it->id == id) {
        it->claimed = true;
        return it->entry;
      }
    }
    return nullptr;
  }

  // The files of the notes no one claimed, in the manifest's order.
  std::vector<std::string> unclaimedPaths() const {
    std::vector<const Note*> unclaimed;
    for (const Note& note : notes_) {
      if (!note.claimed) unclaimed.push_back(&note);
    }
    std::sort(unclaimed.begin(), unclaimed.end(),
              [](const Note* a, const Note* b) { return a->order < b->order; });
    std::vector<std::string> paths;
    paths.reserve(unclaimed.size());
    for (const Note* note : unclaimed) paths.push_back(note->entry->path);
    return paths;
  }

 private:
  struct Note {
    int64_t key;
    size_t order;  // in the manifest
    const std::string* id;
    const LibraryExportManifestEntry* entry;
    bool claimed = false;
  };
  std::vector<Note> notes_;
  size_t cursor_ = 0;  // where the last look ended
};

}  // namespace

std::string exportFolderOf(const std::string& relativePath) {
  const size_t slash = relativePath.rfind('/');
  return slash == std::string::npos ? "" : relativePath.substr(0, slash);
}

LibraryExportPlan planLibraryExport(std::vector<NotesNoteRow> notes,
                                    const std::vector<NotesFolderRow>& folders,
                                    const LibraryExportManifest& earlier) {
  // Older notes choose names first, so a new note never takes an old one's name.
  struct NamingOrder {
    std::optional<core::TimePoint> time;
    int64_t key;
    size_t index;
    // What an earlier export recorded of the note. Looked up in the order the
    // notes come, by key, so that one look into the manifest follows another.
    const LibraryExportManifestEntry* previous;
  };
  EarlierNotes earlierNotes(earlier);
  std::vector<NamingOrder> order(notes.size());
  for (size_t i = 0; i < notes.size(); ++i) {
    const int64_t key = notesObjectKey(notes[i].id).value_or(0);
    order[i] = {notes[i].createdAt ? notes[i].createdAt : notes[i].modifiedAt, key, i,
                earlierNotes.claim(key, notes[i].id)};
  }
  std::sort(order.begin(), order.end(), [](const NamingOrder& a, const NamingOrder& b) {
    if (a.time != b.time) return a.time < b.time;
    return a.key < b.key;
  });

  ExportPathAllocator allocator;
  allocator.claim(std::string(kExportManifestName), "manifest");
  std::unordered_map<std::string, std::vector<std::string>> folderComponents;
  std::unordered_map<std::string, std::string> folderDisplay;
  for (const NotesFolderRow& folder : folders) {
    folderComponents[folder.id] =
        parseComponentPath(folder.componentPath).value_or(std::vector{folder.title});
    folderDisplay[folder.id] = folder.path;
  }
  auto componentsOf = [&](const NotesNoteRow& note) {
    auto it = folderComponents.find(note.folderID);
    if (it != folderComponents.end()) return it->second;
    // A folder past the folder list's cap.
    std::vector<std::string> components;
    if (!note.accountName.empty()) components.push_back(note.accountName);
    components.push_back(note.folderName);
    return components;
  };

  LibraryExportPlan plan;
  // A note's export folder and display path depend on its folder's row alone:
  // worked out once per folder.
  struct NoteFolder {
    std::string path;
    size_t displayPath;  // in plan.folderDisplayPaths
  };
  std::unordered_map<std::string, NoteFolder> noteFolders;  // folder id, account and name → folder
  std::string folderKey;

  plan.entries.reserve(notes.size());
  for (const NamingOrder& next : order) {
    plan.entries.push_back({std::move(notes[next.index]), {}, next.previous, 0});
  }
  std::vector<NotesNoteRow>().swap(notes);
  std::vector<const std::string*> folderPaths(plan.entries.size());
  // Every file of the earlier export stays reserved for its note, even one about
  // to be renamed, so that no other note is written over it. Earlier names are
  // reserved before any new one is handed out.
  for (const auto& [id, entry] : earlier)
    allocator.reserve(entry.path, id);  // both outlive the plan's making
  FolderLayout layout(allocator);
  for (size_t i = 0; i < plan.entries.size(); ++i) {
    LibraryExportPlanEntry& entry = plan.entries[i];
    folderKey = entry.note.folderID;
    (((folderKey += '\0') += entry.note.accountName) += '\0') += entry.note.folderName;
    auto folder = noteFolders.find(folderKey);
    if (folder == noteFolders.end()) {
      plan.folderDisplayPaths.push_back(folderDisplayPath(folderDisplay, entry.note.folderID,
                                                          entry.note.accountName, entry.note.folderName));
      NoteFolder resolved{layout.relativePath(componentsOf(entry.note)), plan.folderDisplayPaths.size() - 1};
      folder = noteFolders.emplace(folderKey, std::move(resolved)).first;
    }
    folderPaths[i] = &folder->second.path;
    entry.folder = folder->second.displayPath;
    if (!entry.previous) continue;
    const std::string stem = safePathComponent(entry.note.title, "Untitled");
    if (stillFits(entry.previous->path, *folderPaths[i], stem)) entry.target = entry.previous->path;
  }
  for (size_t i = 0; i < plan.entries.size(); ++i) {
    LibraryExportPlanEntry& entry = plan.entries[i];
    if (!entry.target.empty()) continue;
    entry.target = allocator.allocate(*folderPaths[i], safePathComponent(entry.note.title, "Untitled"), ".md",
                                      entry.note.id);
  }

  plan.folders = layout.count();
  plan.staleFiles = earlierNotes.unclaimedPaths();
  return plan;
}

}  // namespace zephyl::notes_store
