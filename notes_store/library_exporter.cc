#include "notes_store/library_exporter.h"

#include <algorithm>
#include <chrono>
#include <unordered_map>
#include <unordered_set>

#include "core/file_system_error.h"
#include "core/logger.h"
#include "notes_store/export_paths.h"
#include "notes_store/library_export_manifest.h"
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
  auto manifest = parseLibraryExportManifest(*contents);
  if (!manifest) {
    kLog.warning() << "The export manifest is unreadable or names a path outside the export folder";
    return {ManifestState::kForeign, {}};
  }
  return {ManifestState::kOurs, std::move(*manifest)};
}

// The first part of `relative` below `directory` ("A", "A/B", "A/B/n.md") that is
// a symbolic link: writing or removing through it could reach outside the folder.
// Folders found free of links are remembered for the run, so that a note costs
// one look at its own file.
class SymbolicLinkCheck {
 public:
  SymbolicLinkCheck(core::FileSystem& files, const std::string& directory)
      : files_(files), directory_(directory) {}

  std::optional<std::string> onPath(const std::string& relative) {
    const size_t last = relative.rfind('/');
    if (last == std::string::npos || !plainFolders_.count(std::string_view(relative).substr(0, last))) {
      for (size_t slash = relative.find('/'); slash != std::string::npos;
           slash = relative.find('/', slash + 1)) {
        std::string prefix = relative.substr(0, slash);
        if (plainFolders_.count(prefix)) continue;
        if (files_.isSymbolicLink(joinPath(directory_, prefix))) return prefix;
        plainFolders_.insert(std::move(prefix));
      }
    }
    if (files_.isSymbolicLink(joinPath(directory_, relative))) return relative;
    return std::nullopt;
  }

 private:
  core::FileSystem& files_;
  const std::string& directory_;
  struct Hash : std::hash<std::string_view> {
    using is_transparent = void;
  };
  std::unordered_set<std::string, Hash, std::equal_to<>> plainFolders_;
};

// Removes the file a renamed note had; a file reached through a symbolic link,
// or one that cannot be removed, is left as a stale file.
void removeEarlierFile(core::FileSystem& files, SymbolicLinkCheck& links, const std::string& directory,
                       const std::string& relative) {
  if (const auto link = links.onPath(relative)) {
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
  files.writeFileAtomically(path, formatLibraryExportManifest(manifest));
}

// When the manifest is written during a run: at most a twentieth of the run
// goes to it (rewriting it after every batch grows with the square of the
// library), and a kill -9 loses the records of the last few seconds at most;
// their files are written again, under the same names, by the next run.
class ManifestSchedule {
 public:
  using Clock = std::chrono::steady_clock;

  bool due() const { return Clock::now() - lastEnd_ >= 20 * lastCost_; }
  void written(Clock::time_point start) {
    lastEnd_ = Clock::now();
    lastCost_ = lastEnd_ - start;
  }

 private:
  Clock::time_point lastEnd_ = Clock::now();
  Clock::duration lastCost_{};
};

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

// The write step of one export: the plan's notes in batches, each changed note
// rendered and replaced, the manifest kept up with what is on disk.
class ExportWrite {
 public:
  ExportWrite(NotesDatabaseConnection& connection, core::FileSystem& files,
              const LibraryExportOptions& options, const std::string& directory,
              const std::string& manifestPath, const std::vector<LibraryExportPlanEntry>& notes,
              Manifest& manifest, LibraryExportSummary& summary)
      : connection_(connection),
        files_(files),
        options_(options),
        directory_(directory),
        manifestPath_(manifestPath),
        notes_(notes),
        manifest_(manifest),
        summary_(summary),
        links_(files, directory) {}

  void run() {
    try {
      for (size_t start = 0; start < notes_.size(); start += kBatchSize) {
        if (options_.stop.stop_requested()) throw core::CancellationError();
        const size_t end = std::min(notes_.size(), start + kBatchSize);
        writeBatch(start, end);
        if (options_.progress) options_.progress(end, notes_.size());
        if (!recorded_ && schedule_.due()) saveManifest();
      }
      if (!recorded_) saveManifest();
    } catch (...) {
      try {
        if (!recorded_) writeManifest(files_, manifestPath_, manifest_);
      } catch (const core::FileSystemError& error) {
        kLog.error() << "Could not record the export: " << error.what();
      }
      throw;
    }
  }

 private:
  // Whether the file of an earlier run still holds this version of the note.
  bool unchanged(const LibraryExportPlanEntry& entry) {
    return !options_.force && entry.previous && entry.previous->path == entry.target &&
           entry.previous->modified == core::formatIso8601(entry.note.modifiedAt).value_or("") &&
           !links_.onPath(entry.target) && files_.fileExists(joinPath(directory_, entry.target));
  }

  void writeBatch(size_t start, size_t end) {
    std::vector<size_t> toWrite;
    std::vector<int64_t> keys;
    for (size_t i = start; i < end; ++i) {
      if (notes_[i].note.isPasswordProtected != 0) {
        ++summary_.lockedSkipped;
      } else if (unchanged(notes_[i])) {
        ++summary_.unchanged;
      } else {
        toWrite.push_back(i);
        if (notes_[i].note.noteDataPK) keys.push_back(*notes_[i].note.noteDataPK);
      }
    }
    auto bodies = NotesDatabaseAccess::fetchNoteBodies(connection_, keys, options_.stop);
    std::vector<int64_t> noteKeys;
    for (size_t i : toWrite) noteKeys.push_back(notesObjectKey(notes_[i].note.id).value_or(0));
    const auto holders = NotesDatabaseAccess::fetchAttachmentHolders(connection_, noteKeys);
    size_t done = start + (end - start - toWrite.size());
    for (size_t i : toWrite) {
      if (options_.progress) options_.progress(done, notes_.size());
      ++done;
      writeNote(notes_[i], bodies, holders);
    }
  }

  void writeNote(const LibraryExportPlanEntry& entry, std::unordered_map<int64_t, NotesBodyBlob>& bodies,
                 const NotesDatabaseAccess::AttachmentHolders& holders) {
    const NotesNoteRow& note = entry.note;
    const std::string& target = entry.target;
    if (const auto link = links_.onPath(target)) {
      skip(target, std::string(kSymbolicLinkRefused) + *link);
      return;
    }
    NoteRenderSource source;
    source.id = note.id;
    source.key = notesObjectKey(note.id).value_or(0);
    source.title = note.title;
    source.preview = note.preview;
    source.mayHaveTables = holders.withTables.count(source.key) != 0;
    source.mayHaveInlineTexts = holders.withInlineTexts.count(source.key) != 0;
    std::string bodyBytes;
    if (note.noteDataPK) {
      if (auto body = bodies.find(*note.noteDataPK); body != bodies.end()) {
        // Each body leaves the batch once rendered: the batch's peak shrinks as it goes.
        bodyBytes = std::move(body->second.bytes);
        source.body = bodyBytes;
        source.bodyOverLimit = body->second.overLimit;
        bodies.erase(body);
      }
    }
    const std::string fromFolder = exportFolderOf(target);
    NoteRenderOptions renderOptions;
    renderOptions.noteLinkTarget = [&](std::string_view identifier) {
      return linkTarget(fromFolder, identifier);
    };
    RenderedNote rendered = renderNoteSource(connection_, source, renderOptions);
    if (rendered.overLimit) {
      kLog.warning() << "Skipped a note: " << kNoteBodyOverLimitText;
      summary_.overLimitSkipped.push_back(target);
      return;
    }
    summary_.tablesUnreadable += rendered.tablesUnreadable;
    if (rendered.fromTitleAndPreview) ++summary_.withoutBody;
    std::string content = frontMatter(note, entry.folderDisplayPath);
    content += rendered.markdown;
    try {
      files_.replaceFile(joinPath(directory_, target), content);
    } catch (const core::FileSystemError& error) {
      // A name too long for this file system, a file where a folder must go:
      // this note only.
      skip(target, error.reason());
      return;
    }
    if (entry.previous && entry.previous->path != target) {
      removeEarlierFile(files_, links_, directory_, entry.previous->path);
      ++summary_.renamed;
    }
    manifest_[note.id] = {target, core::formatIso8601(note.modifiedAt).value_or("")};
    recorded_ = false;
    ++summary_.written;
  }

  // The relative link from a note in `fromFolder` to the note `identifier`
  // names, when that note is exported.
  std::optional<std::string> linkTarget(const std::string& fromFolder, std::string_view identifier) {
    // Made when the first link is followed, so that a run without links does without.
    if (byIdentifier_.empty()) {
      for (size_t n = 0; n < notes_.size(); ++n) byIdentifier_.emplace(upper(notes_[n].note.uuid), n);
    }
    const auto linked = byIdentifier_.find(upper(std::string(identifier)));
    if (linked == byIdentifier_.end() || notes_[linked->second].note.isPasswordProtected != 0)
      return std::nullopt;
    return relativeLink(fromFolder, notes_[linked->second].target);
  }

  void skip(const std::string& path, std::string reason) {
    kLog.warning() << "Skipped a note: " << reason;
    summary_.skipped.push_back({path, std::move(reason)});
  }

  void saveManifest() {
    const auto start = ManifestSchedule::Clock::now();
    writeManifest(files_, manifestPath_, manifest_);
    schedule_.written(start);
    recorded_ = true;
  }

  NotesDatabaseConnection& connection_;
  core::FileSystem& files_;
  const LibraryExportOptions& options_;
  const std::string& directory_;
  const std::string& manifestPath_;
  const std::vector<LibraryExportPlanEntry>& notes_;
  Manifest& manifest_;
  LibraryExportSummary& summary_;
  SymbolicLinkCheck links_;
  ManifestSchedule schedule_;
  bool recorded_ = true;  // the manifest on disk holds every record made so far
  // Upper-case UUID → note index, for links between notes.
  std::unordered_map<std::string, size_t> byIdentifier_;
};

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
  std::vector<NotesNoteRow> rows = NotesDatabaseAccess::fetchNoteList(connection);
  LibraryExportSummary summary;
  summary.notes = rows.size();
  // The plan points into `manifest`, whose entries change only once their notes are written.
  LibraryExportPlan plan = planLibraryExport(std::move(rows), folderRows, manifest);
  summary.folders = plan.folders;
  summary.staleFiles = std::move(plan.staleFiles);

  ExportWrite write{connection, files, options, directory, manifestPath, plan.entries, manifest, summary};
  write.run();
  kLog.info() << "Exported " << summary.written << " notes, " << summary.unchanged << " unchanged, "
              << summary.lockedSkipped << " locked";
  return summary;
}

}  // namespace zephyl::notes_store
