#include "notes_store/library_export_plan.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

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
        const std::string name = safePathComponent(component, "Untitled Folder");
        it = paths_.emplace(key, allocator_.allocate(path, name, "", "folder:" + key)).first;
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
bool stillFits(const std::string& path, const std::string& folder, const std::string& stem) {
  if (exportFolderOf(path) != folder) return false;
  const std::string name = path.substr(folder.empty() ? 0 : folder.size() + 1);
  return fileNameKey(name) == fileNameKey(stem + ".md") ||
         fileNameKey(name).starts_with(fileNameKey(stem + " ("));
}

}  // namespace

std::string exportFolderOf(const std::string& relativePath) {
  const size_t slash = relativePath.rfind('/');
  return slash == std::string::npos ? "" : relativePath.substr(0, slash);
}

LibraryExportPlan planLibraryExport(std::vector<NotesNoteRow> notes,
                                    const std::vector<NotesFolderRow>& folders,
                                    const LibraryExportManifest& earlier) {
  // Older notes choose names first, so a new note never takes an old one's name.
  std::sort(notes.begin(), notes.end(), [](const NotesNoteRow& a, const NotesNoteRow& b) {
    const auto aTime = a.createdAt ? a.createdAt : a.modifiedAt;
    const auto bTime = b.createdAt ? b.createdAt : b.modifiedAt;
    if (aTime != bTime) return aTime < bTime;
    return notesObjectKey(a.id).value_or(0) < notesObjectKey(b.id).value_or(0);
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

  // Earlier names are claimed before any new one is handed out.
  std::vector<std::string> targets(notes.size());
  std::vector<std::string> folderPaths(notes.size());
  std::vector<std::optional<std::string>> previous(notes.size());
  std::vector<std::string> displayPaths(notes.size());
  // Every file of the earlier export stays reserved for its note, even one about
  // to be renamed, so that no other note is written over it.
  for (const auto& [id, entry] : earlier) allocator.claim(entry.path, id);
  FolderLayout layout(allocator);
  for (size_t i = 0; i < notes.size(); ++i) {
    folderPaths[i] = layout.relativePath(componentsOf(notes[i]));
    displayPaths[i] =
        folderDisplayPath(folderDisplay, notes[i].folderID, notes[i].accountName, notes[i].folderName);
    const auto entry = earlier.find(notes[i].id);
    if (entry == earlier.end()) continue;
    previous[i] = entry->second.path;
    const std::string stem = safePathComponent(notes[i].title, "Untitled");
    if (stillFits(entry->second.path, folderPaths[i], stem)) targets[i] = entry->second.path;
  }
  for (size_t i = 0; i < notes.size(); ++i) {
    if (!targets[i].empty()) continue;
    targets[i] =
        allocator.allocate(folderPaths[i], safePathComponent(notes[i].title, "Untitled"), ".md", notes[i].id);
  }

  LibraryExportPlan plan;
  plan.folders = layout.count();
  std::unordered_set<std::string> present;
  for (const NotesNoteRow& note : notes) present.insert(note.id);
  for (const auto& [id, entry] : earlier) {
    if (!present.count(id)) plan.staleFiles.push_back(entry.path);
  }
  plan.notes = std::move(notes);
  plan.targets = std::move(targets);
  plan.previous = std::move(previous);
  plan.folderDisplayPaths = std::move(displayPaths);
  return plan;
}

}  // namespace zephyl::notes_store
