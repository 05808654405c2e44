#include "notes_store/library_exporter.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <unordered_map>

#include "core/file_system_error.h"
#include "core/logger.h"
#include "notes_store/export_paths.h"
#include "notes_store/library_export_plan.h"
#include "notes_store/note_renderer.h"
#include "notes_store/notes_object_identifier.h"

namespace zephyl::notes_store {
namespace {

constexpr core::Logger kLog("LibraryExporter");

constexpr size_t kBatchSize = 500;
constexpr std::string_view kSymbolicLinkRefused = "a symbolic link in the export folder was not followed: ";

using Manifest = LibraryExportManifest;

std::string joinPath(const std::string& directory, const std::string& relative) {
  return directory + "/" + relative;
}

// What the export folder's manifest says: nothing (no manifest), the notes of
// an earlier export, or something Zephyl did not write (unreadable, or naming a
// path outside the folder), which is treated as no export of ours.
enum class ManifestState { kAbsent, kOurs, kForeign };

struct ManifestRead {
  ManifestState state = ManifestState::kAbsent;
  Manifest manifest;
};

ManifestRead readManifest(core::FileSystem& files, const std::string& path) {
  if (files.isSymbolicLink(path)) {
    kLog.warning() << "The export manifest is a symbolic link; not following it";
    return {ManifestState::kForeign, {}};
  }
  const auto contents = files.readFile(path);
  if (!contents) return {};
  ManifestRead read{ManifestState::kOurs, {}};
  try {
    const auto json = nlohmann::json::parse(*contents);
    for (const auto& [id, entry] : json.at("notes").items()) {
      auto notePath = entry.at("path").get<std::string>();
      if (!staysInsideExportFolder(notePath)) {
        kLog.warning() << "The export manifest names a path outside the export folder";
        return {ManifestState::kForeign, {}};
      }
      read.manifest[id] = {std::move(notePath), entry.at("modified").get<std::string>()};
    }
  } catch (const nlohmann::json::exception& error) {
    kLog.warning() << "The export manifest is unreadable: " << error.what();
    return {ManifestState::kForeign, {}};
  }
  return read;
}

// The first part of `relative` below `directory` ("A", "A/B", "A/B/n.md") that is
// a symbolic link: writing or removing through it could reach outside the folder.
std::optional<std::string> symbolicLinkOnPath(core::FileSystem& files, const std::string& directory,
                                              const std::string& relative) {
  for (size_t slash = relative.find('/');; slash = relative.find('/', slash + 1)) {
    std::string prefix = relative.substr(0, slash);
    if (files.isSymbolicLink(joinPath(directory, prefix))) return prefix;
    if (slash == std::string::npos) return std::nullopt;
  }
}

// Removes the file a renamed note had; a file reached through a symbolic link,
// or one that cannot be removed, is left as a stale file.
void removeEarlierFile(core::FileSystem& files, const std::string& directory, const std::string& relative) {
  if (const auto link = symbolicLinkOnPath(files, directory, relative)) {
    kLog.warning() << "Not removing an earlier file through a symbolic link";
    return;
  }
  try {
    files.removeFile(joinPath(directory, relative));
  } catch (const core::FileSystemError& error) {
    kLog.warning() << "Could not remove an earlier file: " << error.what();
  }
}

// True when the folder holds nothing but what an interrupted first write of the
// manifest may have left.
bool holdsNothingOfTheUser(core::FileSystem& files, const std::string& directory) {
  const std::string leftover = std::string(kExportManifestName) + ".tmp-";
  const auto names = files.listDirectory(directory);
  return std::all_of(names.begin(), names.end(),
                     [&](const std::string& name) { return name.starts_with(leftover); });
}

void writeManifest(core::FileSystem& files, const std::string& path, const Manifest& manifest) {
  // A sorted map: inserting into an order-keeping one is linear per key.
  nlohmann::json notes = nlohmann::json::object();
  for (const auto& [id, entry] : manifest) notes[id] = {{"path", entry.path}, {"modified", entry.modified}};
  const nlohmann::json json = {{"version", 1}, {"notes", std::move(notes)}};
  files.writeFileAtomically(path, json.dump(1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n");
}

std::string yamlQuoted(std::string_view text) {
  std::string out = "\"";
  for (char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (c == '\n') {
      out += "\\n";
    } else if (byte < 0x20 || byte == 0x7F) {
      static constexpr char kHex[] = "0123456789ABCDEF";
      out += "\\x";
      out += kHex[byte >> 4];
      out += kHex[byte & 0xF];
    } else {
      out += c;
    }
  }
  return out + "\"";
}

std::string frontMatter(const NotesNoteRow& note, const std::string& folderPath) {
  std::string out = "---\n";
  out += "id: " + yamlQuoted(note.id) + "\n";
  out += "title: " + yamlQuoted(note.title) + "\n";
  out += "created: " + (note.createdAt ? core::formatIso8601(*note.createdAt) : std::string("null")) + "\n";
  out += "modified: " + core::formatIso8601(note.modifiedAt).value_or("null") + "\n";
  out += "folder: " + yamlQuoted(folderPath) + "\n";
  out += "---\n\n";
  return out;
}

std::string upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
  return text;
}

}  // namespace

LibraryExportError::LibraryExportError(Code code, std::string path)
    : core::Error(std::string(text(code)) + ": " + path), code_(code), path_(std::move(path)) {}

std::string_view LibraryExportError::text(Code code) {
  switch (code) {
    case Code::kNotADirectory:
      return "The export destination is a file, not a folder";
    case Code::kFolderNotEmpty:
      return "The export folder is not empty and holds no earlier Zephyl export; choose an empty folder or "
             "pass --force";
  }
  return {};
}

LibraryExportSummary exportLibrary(NotesDatabaseConnection& connection, core::FileSystem& files,
                                   const LibraryExportOptions& options) {
  std::string directory = options.directory;
  while (directory.size() > 1 && directory.back() == '/') directory.pop_back();
  if (files.fileExists(directory) && !files.isDirectory(directory)) {
    throw LibraryExportError(LibraryExportError::Code::kNotADirectory, directory);
  }
  const std::string manifestPath = joinPath(directory, std::string(kExportManifestName));
  ManifestRead earlier = readManifest(files, manifestPath);
  if (earlier.state != ManifestState::kOurs && !options.force && !holdsNothingOfTheUser(files, directory)) {
    throw LibraryExportError(LibraryExportError::Code::kFolderNotEmpty, directory);
  }
  Manifest manifest = std::move(earlier.manifest);
  try {
    files.removeStaleTemporaryFiles(directory);
  } catch (const core::FileSystemError& error) {
    kLog.warning() << "Could not remove temporary files of an earlier export: " << error.what();
  }
  // From here on the folder is ours: a run that stops at any point, even by
  // kill -9, leaves a manifest, so the next one resumes instead of refusing.
  if (earlier.state != ManifestState::kOurs) writeManifest(files, manifestPath, manifest);

  const std::vector<NotesFolderRow> folderRows = NotesDatabaseAccess::fetchFolderTree(connection);
  std::vector<NotesNoteRow> notes = NotesDatabaseAccess::fetchNoteList(connection);
  LibraryExportSummary summary;
  summary.notes = notes.size();

  LibraryExportPlan plan = planLibraryExport(std::move(notes), folderRows, manifest);
  notes = std::move(plan.notes);
  const std::vector<std::string>& targets = plan.targets;
  const std::vector<std::optional<std::string>>& previous = plan.previous;
  summary.folders = plan.folders;
  summary.staleFiles = std::move(plan.staleFiles);

  std::unordered_map<std::string, size_t> byIdentifier;  // upper-case UUID → note index
  for (size_t i = 0; i < notes.size(); ++i) byIdentifier.emplace(upper(notes[i].uuid), i);

  auto skip = [&](const std::string& path, std::string reason) {
    kLog.warning() << "Skipped a note: " << reason;
    summary.skipped.push_back({path, std::move(reason)});
  };
  try {
    for (size_t start = 0; start < notes.size(); start += kBatchSize) {
      if (options.stop.stop_requested()) throw core::CancellationError();
      const size_t end = std::min(notes.size(), start + kBatchSize);
      std::vector<size_t> toWrite;
      std::vector<int64_t> keys;
      for (size_t i = start; i < end; ++i) {
        const NotesNoteRow& note = notes[i];
        const std::string modified = core::formatIso8601(note.modifiedAt).value_or("");
        if (note.isPasswordProtected != 0) {
          ++summary.lockedSkipped;
          continue;
        }
        const auto entry = manifest.find(note.id);
        if (!options.force && entry != manifest.end() && entry->second.path == targets[i] &&
            entry->second.modified == modified && !symbolicLinkOnPath(files, directory, targets[i]) &&
            files.fileExists(joinPath(directory, targets[i]))) {
          ++summary.unchanged;
          continue;
        }
        toWrite.push_back(i);
        if (note.noteDataPK) keys.push_back(*note.noteDataPK);
      }
      const auto bodies = NotesDatabaseAccess::fetchNoteBodies(connection, keys, options.stop);
      size_t batchDone = end - start - toWrite.size();
      for (size_t i : toWrite) {
        const NotesNoteRow& note = notes[i];
        if (options.progress) options.progress(start + batchDone, notes.size());
        ++batchDone;
        if (const auto link = symbolicLinkOnPath(files, directory, targets[i])) {
          skip(targets[i], std::string(kSymbolicLinkRefused) + *link);
          continue;
        }
        NoteRenderSource source;
        source.id = note.id;
        source.key = notesObjectKey(note.id).value_or(0);
        source.title = note.title;
        source.preview = note.preview;
        if (note.noteDataPK) {
          if (auto body = bodies.find(*note.noteDataPK); body != bodies.end()) {
            source.body = body->second.bytes;
            source.bodyOverLimit = body->second.overLimit;
          }
        }
        const std::string fromFolder = exportFolderOf(targets[i]);
        NoteRenderOptions renderOptions;
        renderOptions.noteLinkTarget = [&](std::string_view identifier) -> std::optional<std::string> {
          const auto target = byIdentifier.find(upper(std::string(identifier)));
          if (target == byIdentifier.end() || notes[target->second].isPasswordProtected != 0)
            return std::nullopt;
          return relativeLink(fromFolder, targets[target->second]);
        };
        const RenderedNote rendered = renderNoteSource(connection, source, renderOptions);
        if (rendered.overLimit) {
          kLog.warning() << "Skipped a note: " << kNoteBodyOverLimitText;
          summary.overLimitSkipped.push_back(targets[i]);
          continue;
        }
        summary.tablesUnreadable += rendered.tablesUnreadable;
        if (rendered.fromTitleAndPreview) ++summary.withoutBody;
        const std::string content = frontMatter(note, plan.folderDisplayPaths[i]) + rendered.markdown;
        try {
          files.replaceFile(joinPath(directory, targets[i]), content);
        } catch (const core::FileSystemError& error) {
          // A name too long for this file system, a file where a folder must go:
          // this note only.
          skip(targets[i], error.reason());
          continue;
        }
        if (previous[i] && *previous[i] != targets[i]) {
          removeEarlierFile(files, directory, *previous[i]);
          ++summary.renamed;
        }
        manifest[note.id] = {targets[i], core::formatIso8601(note.modifiedAt).value_or("")};
        ++summary.written;
      }
      if (options.progress) options.progress(end, notes.size());
      // A kill -9 loses at most one batch of records; their files are written
      // again, under the same names, by the next run.
      if (!toWrite.empty()) writeManifest(files, manifestPath, manifest);
    }
  } catch (...) {
    try {
      writeManifest(files, manifestPath, manifest);
    } catch (const core::FileSystemError& error) {
      kLog.error() << "Could not record the export: " << error.what();
    }
    throw;
  }
  kLog.info() << "Exported " << summary.written << " notes, " << summary.unchanged << " unchanged, "
              << summary.lockedSkipped << " locked";
  return summary;
}

}  // namespace zephyl::notes_store
