#include "notes_store/library_export_plan.h"

#include <algorithm>
#include <limits>
#include <map>
#include <optional>
#include <unordered_map>

#include "notes_store/component_path.h"
#include "notes_store/export_paths.h"
#include "notes_store/folder_display_path.h"

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
        it = paths_
                 .emplace(key, allocator_.allocate(path, safePathComponent(component, "Untitled Folder"), ""))
                 .first;
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

}  // namespace

std::optional<LibraryExportEarlierFile> LibraryExportPlan::previous(size_t index) const {
  const uint32_t previous = entries[index].previous;
  if (previous == LibraryExportPlanEntry::kNone) return std::nullopt;
  return earlier.of(previous, notes[index]);
}

std::string LibraryExportPlan::target(size_t index) const {
  const LibraryExportPlanEntry& entry = entries[index];
  if (entry.newPath == LibraryExportPlanEntry::kEarlierPath) {
    return entry.previous != LibraryExportPlanEntry::kNone ? earlier.path(entry.previous, notes[index])
                                                           : std::string();
  }
  if (!(entry.newPath & LibraryExportPlanEntry::kNamedByTitle)) return std::string(newPaths[entry.newPath]);
  return exportNotePath(exportFolders[notes[index].folder], notes[index].title(),
                        entry.newPath & ~LibraryExportPlanEntry::kNamedByTitle);
}

namespace {

// Puts items[from(i)] at i, moving each item once.
template <typename Items, typename From>
void permute(Items& items, const From& from) {
  std::vector<bool> placed(items.size());
  for (size_t cycle = 0; cycle < items.size(); ++cycle) {
    if (placed[cycle] || from(cycle) == cycle) continue;
    typename Items::value_type first = std::move(items[cycle]);
    size_t to = cycle;
    for (; from(to) != cycle; to = from(to)) {
      items[to] = std::move(items[from(to)]);
      placed[to] = true;
    }
    items[to] = std::move(first);
    placed[to] = true;
  }
}

constexpr int64_t kNoTime = std::numeric_limits<int64_t>::min();

// What puts a note in naming order: its creation time (its modification time
// when it has none; kNoTime first), then its key.
std::pair<int64_t, int64_t> namingPlace(const LibraryExportNote& note) {
  const auto time = note.createdAt() ? note.createdAt() : note.modifiedAt();
  return {time ? time->time_since_epoch().count() : kNoTime, note.key()};
}

// Puts the plan's notes, their entries and `fits` in naming order, older
// notes first, so that a new note never takes an old one's name.
void putInNamingOrder(LibraryExportPlan& plan, std::vector<bool>& fits) {
  std::vector<LibraryExportNote>& notes = plan.notes;
  // 12 bytes, not 16: a library's worth of them is held beside the notes.
#pragma pack(push, 4)
  struct NamingOrder {
    int64_t time;
    uint32_t index;
  };
#pragma pack(pop)
  std::vector<NamingOrder> order(notes.size());
  for (uint32_t i = 0; i < notes.size(); ++i) order[i] = {namingPlace(notes[i]).first, i};
  std::sort(order.begin(), order.end(), [&](const NamingOrder& a, const NamingOrder& b) {
    if (a.time != b.time) return a.time < b.time;
    return notes[a.index].key() < notes[b.index].key();
  });
  const auto from = [&](size_t i) -> size_t { return order[i].index; };
  permute(notes, from);
  permute(plan.entries, from);
  permute(fits, from);
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
  std::stable_sort(toName.begin(), toName.end(), [&](uint32_t a, uint32_t b) {
    return exportFolders[notes[a].folder] < exportFolders[notes[b].folder];
  });
  for (size_t n = 0; n < toName.size(); ++n) {
    const uint32_t i = toName[n];
    const std::string& folderPath = *folderPaths[notes[i].folder];
    if (n == 0 || exportFolders[notes[toName[n - 1]].folder] != exportFolders[notes[i].folder]) {
      size_t count = 0, bytes = 0;
      for (size_t m = n;
           m < toName.size() && exportFolders[notes[toName[m]].folder] == exportFolders[notes[i].folder];
           ++m, ++count) {
        bytes += notes[toName[m]].title().size() + sizeof(" (99).md");
      }
      allocator.expect(folderPath, count, bytes);
    }
    const std::string stem = safePathComponent(notes[i].title(), "Untitled");
    const std::string path = allocator.allocate(folderPath, stem, ".md");
    // Kept as the number its name takes, where the title makes it: a
    // library's worth of paths is not held.
    const uint32_t number = exportNoteNameNumber(
        std::string_view(path).substr(folderPath.empty() ? 0 : folderPath.size() + 1), stem);
    if (number != 0 && number < LibraryExportPlanEntry::kNamedByTitle) {
      plan.entries[i].newPath = LibraryExportPlanEntry::kNamedByTitle | number;
    } else {
      plan.entries[i].newPath = static_cast<uint32_t>(plan.newPaths.size());
      plan.newPaths.push_back(path);
    }
    if (n + 1 == toName.size() ||
        exportFolders[notes[toName[n + 1]].folder] != exportFolders[notes[i].folder]) {
      allocator.release(folderPath);
    }
  }
}

// Each note folder's export folder, and its display path in the plan: they
// depend on the folder alone, and are worked out once per folder, in the
// order notes come to them in naming order (folders, too, take names).
std::vector<std::optional<std::string>> layOutFolders(LibraryExportPlan& plan,
                                                      const std::vector<LibraryExportNoteFolder>& noteFolders,
                                                      const std::vector<NotesFolderRow>& folders,
                                                      FolderLayout& layout) {
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
  std::vector<std::optional<std::string>> folderPaths(noteFolders.size());
  plan.folderDisplayPaths.resize(noteFolders.size());
  std::vector<std::optional<std::pair<int64_t, int64_t>>> firstPlace(noteFolders.size());
  for (const LibraryExportNote& note : plan.notes) {
    const std::pair<int64_t, int64_t> place = namingPlace(note);
    if (!firstPlace[note.folder] || place < *firstPlace[note.folder]) firstPlace[note.folder] = place;
  }
  std::vector<uint32_t> folderOrder;
  for (uint32_t folder = 0; folder < noteFolders.size(); ++folder) {
    if (firstPlace[folder]) folderOrder.push_back(folder);
  }
  std::sort(folderOrder.begin(), folderOrder.end(),
            [&](uint32_t a, uint32_t b) { return *firstPlace[a] < *firstPlace[b]; });
  for (const uint32_t number : folderOrder) {
    const LibraryExportNoteFolder& folder = noteFolders[number];
    plan.folderDisplayPaths[number] =
        folderDisplayPath(folderDisplay, folder.id, folder.accountName, folder.name);
    folderPaths[number] = layout.relativePath(componentsOf(folder));
  }
  return folderPaths;
}

}  // namespace

LibraryExportPlan planLibraryExport(LibraryExportNoteList list, const std::vector<NotesFolderRow>& folders,
                                    LibraryExportEarlierFiles earlier, const std::vector<bool>& keptAsIs) {
  LibraryExportPlan plan;
  plan.earlier = std::move(earlier);
  plan.notes = std::move(list.notes());
  plan.noteTexts = list.takeTexts();
  std::vector<LibraryExportNote>& notes = plan.notes;
  plan.entries.resize(notes.size());
  for (uint32_t i = 0; i < notes.size(); ++i) {
    if (plan.earlier.has(i)) plan.entries[i].previous = i;
  }
  const LibraryExportManifest& gone = plan.earlier.gone();
  plan.staleFiles.reserve(gone.size());
  for (size_t i = 0; i < gone.size(); ++i) plan.staleFiles.emplace_back(gone.path(i));

  // The earlier files' paths as the allocator holds them, made only when it asks.
  LibraryExportNoteTexts earlierPaths;

  ExportPathAllocator allocator;
  allocator.claim(std::string(kExportManifestName), "manifest");

  // Every file of the earlier export stays reserved for its note, even one
  // about to be renamed, so that no other note is written over it: before any
  // new name is handed out, though Markdown files, nearly all of them, only
  // once some note needs a new name. An earlier file is its own owner (no
  // note's id is a path).
  const auto reserveEarlier = [&](bool markdown) {
    for (size_t i = 0; i < notes.size(); ++i) {
      if (plan.entries[i].previous == LibraryExportPlanEntry::kNone) continue;
      const std::string path = plan.earlier.path(plan.entries[i].previous, notes[i]);
      if (path.ends_with(".md") == markdown) {
        const std::string_view kept(earlierPaths.store({path}), path.size());
        allocator.reserve(kept, kept);
      }
    }
    for (size_t i = 0; i < gone.size(); ++i) {
      const std::string_view path = gone.path(i);
      if (path.ends_with(".md") == markdown) allocator.reserve(path, path);
    }
  };
  reserveEarlier(false);
  allocator.reserveMarkdownLater([reserveEarlier] { reserveEarlier(true); });
  FolderLayout layout(allocator);
  std::vector<std::optional<std::string>> folderPaths = layOutFolders(plan, list.folders(), folders, layout);
  std::vector<bool> fits(notes.size());  // the earlier file's name still fits the note
  bool writesNothing = true;
  for (size_t i = 0; i < notes.size(); ++i) {
    const LibraryExportNote& note = notes[i];
    const std::optional<std::string>& folderPath = folderPaths[note.folder];
    // A locked note has no file, and takes no name from the notes after it.
    const uint32_t previous = plan.entries[i].previous;
    fits[i] = note.locked || (previous != LibraryExportPlanEntry::kNone &&
                              (plan.earlier.namedByTitle(previous, *folderPath) ||
                               stillFits(plan.earlier.path(previous, note), *folderPath,
                                         safePathComponent(note.title(), "Untitled"))));
    writesNothing = writesNothing && fits[i] && (note.locked || (i < keptAsIs.size() && keptAsIs[i]));
  }
  // A run that writes and names nothing keeps the notes as they were listed:
  // the order is for naming and writing.
  if (!writesNothing) putInNamingOrder(plan, fits);
  nameFolderByFolder(plan, allocator, folderPaths, fits);
  plan.exportFolders.reserve(folderPaths.size());
  for (std::optional<std::string>& folderPath : folderPaths)
    plan.exportFolders.push_back(std::move(folderPath).value_or(""));

  plan.folders = layout.count();
  return plan;
}

}  // namespace zephyl::notes_store
