#include "notes_store/library_exporter.h"

#include <algorithm>
#include <chrono>
#include <deque>
#include <exception>
#include <limits>
#include <memory>
#include <numeric>
#include <thread>
#include <unordered_set>

#include "core/file_system_error.h"
#include "core/logger.h"
#include "notes_store/export_note_writers.h"
#include "notes_store/export_paths.h"
#include "notes_store/library_export_manifest.h"
#include "notes_store/library_export_plan.h"
#include "notes_store/note_renderer.h"

namespace zephyl::notes_store {
namespace {

constexpr core::Logger kLog("LibraryExporter");

constexpr size_t kBatchSize = 500;
constexpr std::string_view kSymbolicLinkRefused = "a symbolic link in the export folder was not followed: ";

// For sets of strings looked up by string_view.
struct StringHash : std::hash<std::string_view> {
  using is_transparent = void;
};

std::string joinPath(const std::string& directory, std::string_view relative) {
  std::string path = directory;
  path += '/';
  path += relative;
  return path;
}

// What the export folder's manifest says: nothing (no manifest), the notes of
// an earlier export, or something Zephyl did not write (unreadable, or naming a
// path outside the folder), which is treated as no export of ours.
enum class ManifestState { kAbsent, kOurs, kForeign };

struct ManifestFile {
  ManifestState state = ManifestState::kAbsent;
  std::shared_ptr<const core::FileView> contents;  // until read
};

// The manifest's text, read once the notes it is matched to are.
ManifestFile openManifest(core::FileSystem& files, const std::string& path) {
  if (files.isSymbolicLink(path)) {
    kLog.warning() << "The export manifest is a symbolic link; not following it";
    return {ManifestState::kForeign, {}};
  }
  // Mapped, not read: a large library's manifest runs to tens of megabytes.
  auto contents = files.viewFile(path);
  if (!contents) return {};
  return {ManifestState::kOurs, std::move(contents)};
}

// What the manifest recorded of `notes`; the file is kForeign after when it
// proves not to be ours.
LibraryExportEarlierFiles readEarlierFiles(ManifestFile& manifest,
                                           const std::vector<LibraryExportNote>& notes) {
  LibraryExportEarlierFiles earlier(notes);
  if (manifest.contents) {
    LibraryExportManifestReading reading;
    reading.entry = [&](std::string_view id, std::string_view path, std::string_view modified) {
      earlier.add(id, path, modified);
    };
    reading.restart = [&] { earlier.restart(); };
    // Pages already read are given back as the rest is: a mapped manifest
    // would otherwise stay resident beside what was matched from it.
    reading.doneWith = [&](size_t end) { manifest.contents->doneWith(end); };
    if (!readLibraryExportManifest(manifest.contents->bytes(), reading)) {
      kLog.warning() << "The export manifest is unreadable or names a path outside the export folder";
      manifest.state = ManifestState::kForeign;
      earlier.restart();
    }
    manifest.contents.reset();
  }
  earlier.finish();
  return earlier;
}

// The first part of `relative` below `directory` ("A", "A/B", "A/B/n.md") that is
// a symbolic link: writing or removing through it could reach outside the folder.
// Folders found free of links are remembered for the run, so that a note costs
// one look at its own file at most.
class SymbolicLinkCheck {
 public:
  SymbolicLinkCheck(core::FileSystem& files, const std::string& directory)
      : files_(files), directory_(directory) {}

  // The folders on the way only.
  std::optional<std::string> onFolders(const std::string& relative) {
    const size_t last = relative.rfind('/');
    if (last != std::string::npos && plainFolders_.count(std::string_view(relative).substr(0, last))) {
      return std::nullopt;
    }
    for (size_t slash = relative.find('/'); slash != std::string::npos;
         slash = relative.find('/', slash + 1)) {
      std::string prefix = relative.substr(0, slash);
      if (plainFolders_.count(prefix)) continue;
      if (files_.isSymbolicLink(joinPath(directory_, prefix))) return prefix;
      plainFolders_.insert(std::move(prefix));
    }
    return std::nullopt;
  }

  std::optional<std::string> onPath(const std::string& relative) {
    if (auto folder = onFolders(relative)) return folder;
    if (files_.isSymbolicLink(joinPath(directory_, relative))) return relative;
    return std::nullopt;
  }

 private:
  core::FileSystem& files_;
  const std::string& directory_;
  std::unordered_set<std::string, StringHash, std::equal_to<>> plainFolders_;
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

// Which notes, by their places in `notes`, still have their earlier files in
// the export folder as regular files, with the temporary files of interrupted writes
// removed: one pass over the folder for both, a folder at a time, so that a
// large export's listing, a string a file, is never held whole. None when the
// folder cannot be listed: every note is then written again.
std::vector<bool> presentEarlierFiles(core::FileSystem& files, const std::string& directory,
                                      const LibraryExportEarlierFiles& earlier,
                                      const std::vector<LibraryExportNote>& notes) {
  // The earlier files by their paths' hashes: paths are made, not kept.
  struct Hashed {
    uint32_t hash;  // of its path, cut short: a match is looked at whole
    uint32_t note;
    bool operator<(const Hashed& other) const { return hash < other.hash; }
  };
  const auto hashOf = [](std::string_view path) {
    return static_cast<uint32_t>(std::hash<std::string_view>()(path));
  };
  std::vector<Hashed> byHash;
  byHash.reserve(earlier.size());
  for (uint32_t i = 0; i < notes.size(); ++i) {
    if (earlier.has(i)) byHash.push_back({hashOf(earlier.path(i, notes[i])), i});
  }
  std::sort(byHash.begin(), byHash.end());
  std::vector<bool> present(notes.size());
  std::string path;
  try {
    files.forEachFolderBelow(directory, [&](core::FolderListing& listing) {
      for (const std::string_view name : listing.files) {
        path = listing.folder;
        if (!path.empty()) path += '/';
        path += name;
        if (files.isStaleTemporaryFile(name)) {
          try {
            files.removeFile(joinPath(directory, path));
          } catch (const core::FileSystemError& error) {
            kLog.warning() << "Could not remove a temporary file of an earlier export: " << error.what();
          }
          continue;
        }
        const uint32_t hash = hashOf(path);
        for (auto it = std::lower_bound(byHash.begin(), byHash.end(), Hashed{hash, 0});
             it != byHash.end() && it->hash == hash; ++it) {
          if (earlier.path(it->note, notes[it->note]) == path) present[it->note] = true;
        }
      }
    });
  } catch (const core::FileSystemError& error) {
    kLog.warning() << "Could not list the export folder: " << error.what();
    return std::vector<bool>(notes.size());
  }
  return present;
}

// True when the folder holds nothing but what an interrupted first write of the
// manifest may have left.
bool holdsNothingOfTheUser(core::FileSystem& files, const std::string& directory) {
  const std::string leftover = std::string(kExportManifestName) + ".tmp-";
  const auto names = files.listDirectory(directory);
  return std::all_of(names.begin(), names.end(),
                     [&](const std::string& name) { return name.starts_with(leftover); });
}

// When the manifest is written during a run: at most a fortieth of the run
// goes to it (rewriting it after every batch grows with the square of the
// library), and a kill -9 loses the records of the last few seconds at most;
// their files are written again, under the same names, by the next run.
class ManifestSchedule {
 public:
  using Clock = std::chrono::steady_clock;

  bool due() const { return Clock::now() - lastEnd_ >= 40 * lastCost_; }
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

std::string frontMatter(const LibraryExportNote& note, const std::string& folderPath) {
  std::string out = "---\n";
  out += "id: " + yamlQuoted(note.id().text()) + "\n";
  out += "title: " + yamlQuoted(note.title()) + "\n";
  out +=
      "created: " + (note.createdAt() ? core::formatIso8601(*note.createdAt()) : std::string("null")) + "\n";
  out += "modified: " + core::formatIso8601(note.modifiedAt()).value_or("null") + "\n";
  out += "folder: " + yamlQuoted(folderPath) + "\n";
  out += "---\n\n";
  return out;
}

// The write step of one export: the plan's notes in batches, each changed note
// rendered and replaced, the manifest kept up with what is on disk. Rendering
// and writing a note depends on no other note, so two workers share each
// batch while the calling thread reads the next one from the database; what
// the notes came to is taken in, in plan order, on the calling thread.
class ExportWrite {
 public:
  static constexpr size_t kWriters = 2;

  ExportWrite(NotesDatabaseConnection& connection, core::FileSystem& files,
              const LibraryExportOptions& options, const std::string& directory,
              const std::string& manifestPath, const LibraryExportPlan& plan, std::vector<bool> keptAsIs,
              LibraryExportSummary& summary)
      : connection_(connection),
        files_(files),
        options_(options),
        directory_(directory),
        manifestPath_(manifestPath),
        plan_(plan),
        notes_(plan.notes),
        entries_(plan.entries),
        folderDisplayPaths_(plan.folderDisplayPaths),
        summary_(summary),
        writerLinks_{SymbolicLinkCheck(files, directory), SymbolicLinkCheck(files, directory)},
        links_(files, directory),
        keptAsIs_(std::move(keptAsIs)) {}

  void run() {
    classify();
    orderRecords();
    // At most two batches are out: the one being written and the next.
    std::deque<std::unique_ptr<ExportNoteBatch>> out;
    ExportNoteWriters writers(
        kWriters, [this](ExportNoteJob& job, size_t writer) { writeNote(job, writerLinks_[writer]); });
    try {
      for (size_t start = 0; start < notes_.size(); start += kBatchSize) {
        if (options_.stop.stop_requested()) throw core::CancellationError();
        out.push_back(prepareBatch(start, std::min(notes_.size(), start + kBatchSize)));
        if (!out.back()->jobs.empty()) writers.add(*out.back());
        if (out.size() == 2) finish(writers, out);
      }
      while (!out.empty()) finish(writers, out);
      if (!recorded_) saveManifest();
    } catch (...) {
      // The notes written before the writers stopped are recorded too; the
      // first failure is the one reported.
      writers.passOverTheRest();
      for (; !out.empty(); out.pop_front()) {
        writers.waitFor(*out.front());
        try {
          takeIn(*out.front());
        } catch (...) {
        }
      }
      try {
        if (!recorded_) writeRecords();
      } catch (const core::FileSystemError& error) {
        kLog.error() << "Could not record the export: " << error.what();
      }
      throw;
    }
  }

 private:
  // Whether the file of an earlier run still holds this version of the note.
  // A file below a symbolic link is not in the listing: its note is written,
  // which refuses the link.
  bool unchanged(size_t index) {
    const LibraryExportPlanEntry& entry = entries_[index];
    // A note given a new name cannot have it already: the earlier files' names stay reserved.
    return entry.previous != LibraryExportPlanEntry::kNone &&
           entry.newPath == LibraryExportPlanEntry::kEarlierPath && keptAsIs_[entry.previous];
  }

  // What each note needs, decided before the first batch.
  void classify() {
    actions_.resize(notes_.size());
    for (size_t i = 0; i < notes_.size(); ++i) {
      actions_[i] = notes_[i].locked ? Action::kSkipLocked : unchanged(i) ? Action::kKeep : Action::kWrite;
    }
    std::vector<bool>().swap(keptAsIs_);
  }

  // Puts the notes the manifest records, earlier or once written, in id
  // order, the manifest's, before the first write; a run that writes nothing
  // records nothing. A written note's record is made from the plan when the
  // manifest is written, and nothing the workers read changes as notes are
  // recorded.
  void orderRecords() {
    if (std::find(actions_.begin(), actions_.end(), Action::kWrite) == actions_.end()) return;
    for (uint32_t i = 0; i < notes_.size(); ++i) {
      if (actions_[i] == Action::kWrite || entries_[i].previous != LibraryExportPlanEntry::kNone)
        records_.push_back(i);
    }
    std::sort(records_.begin(), records_.end(),
              [this](uint32_t a, uint32_t b) { return notes_[a].id() < notes_[b].id(); });
  }

  // The manifest: each note's earlier record, or its new one once written,
  // with the records of notes that are gone, merged in id order.
  void writeRecords() {
    const LibraryExportManifest& gone = plan_.earlier.gone();
    files_.writeStreamAtomically(manifestPath_, [&](const auto& piece) {
      LibraryExportManifestFormatter out(piece);
      size_t next = 0;  // in gone
      for (const uint32_t i : records_) {
        const LibraryExportNoteId id = notes_[i].id();
        for (; next < gone.size() && gone[next].id < id; ++next) out.add(gone[next]);
        if (actions_[i] == Action::kWritten) {
          out.add({id, plan_.target(i), LibraryExportModified::of(notes_[i].modifiedAt())});
        } else if (const auto previous = plan_.previous(i)) {
          out.add({id, previous->path, previous->modified});
        }
      }
      for (; next < gone.size(); ++next) out.add(gone[next]);
      out.finish();
    });
  }

  // The notes of [start, end) to write, with their bodies; those that read the
  // database while rendering are rendered here.
  std::unique_ptr<ExportNoteBatch> prepareBatch(size_t start, size_t end) {
    auto batch = std::make_unique<ExportNoteBatch>();
    batch->start = start;
    batch->end = end;
    std::vector<int64_t> keys;
    for (size_t i = start; i < end; ++i) {
      if (actions_[i] == Action::kSkipLocked) {
        ++summary_.lockedSkipped;
      } else if (actions_[i] == Action::kKeep) {
        ++summary_.unchanged;
      } else {
        ExportNoteJob& job = batch->jobs.emplace_back();
        job.index = i;
        job.key = notes_[i].key();
        if (notes_[i].noteDataPK()) keys.push_back(*notes_[i].noteDataPK());
      }
    }
    if (batch->jobs.empty()) return batch;
    auto bodies = NotesDatabaseAccess::fetchNoteBodies(connection_, keys, options_.stop);
    // Made for the first batch with notes to write: a run that writes none
    // does without. Links between notes are looked up from every worker, so
    // their table is made before any starts.
    if (!holders_) {
      holders_ = NotesDatabaseAccess::fetchAttachmentHolders(connection_);
      byIdentifier_.resize(notes_.size());
      std::iota(byIdentifier_.begin(), byIdentifier_.end(), 0);
      std::stable_sort(byIdentifier_.begin(), byIdentifier_.end(), [this](uint32_t a, uint32_t b) {
        return lessIgnoringCase(notes_[a].uuid(), notes_[b].uuid());
      });
    }
    const NotesDatabaseAccess::AttachmentHolders& holders = *holders_;
    std::vector<ExportNoteJob*> withoutBody;
    for (ExportNoteJob& job : batch->jobs) {
      const LibraryExportNote& note = notes_[job.index];
      job.mayHaveTables = holders.withTables.count(job.key) != 0;
      job.mayHaveInlineTexts = holders.withInlineTexts.count(job.key) != 0;
      if (note.noteDataPK()) {
        if (auto body = bodies.find(*note.noteDataPK()); body != bodies.end()) {
          job.body = std::move(body->second.bytes);
          job.bodyOverLimit = body->second.overLimit;
        }
      }
      if (job.body.empty() && !job.bodyOverLimit) withoutBody.push_back(&job);
    }
    // A body found unreadable here or by a writer has its preview read after
    // the writers are done with the batch (writeFromPreviews).
    readPreviews(withoutBody);
    for (ExportNoteJob& job : batch->jobs) {
      if (job.mayHaveTables || job.mayHaveInlineTexts) job.rendered = render(job);
    }
    return batch;
  }

  // Previews are read only for the notes that show them, a few a batch:
  // reading every note's costs more than all the notes' other columns.
  void readPreviews(const std::vector<ExportNoteJob*>& jobs) {
    if (jobs.empty()) return;
    std::vector<int64_t> keys;
    keys.reserve(jobs.size());
    for (const ExportNoteJob* job : jobs) keys.push_back(job->key);
    auto previews = NotesDatabaseAccess::fetchNotePreviews(connection_, keys, options_.stop);
    for (ExportNoteJob* job : jobs) {
      if (auto preview = previews.find(job->key); preview != previews.end())
        job->preview = std::move(preview->second);
      job->previewRead = true;
    }
  }

  // The notes whose bodies the writers found unreadable, written here from
  // their titles and previews.
  void writeFromPreviews(ExportNoteBatch& batch) {
    std::vector<ExportNoteJob*> jobs;
    for (ExportNoteJob& job : batch.jobs) {
      if (job.outcome == ExportNoteJob::Outcome::kNeedsPreview) jobs.push_back(&job);
    }
    readPreviews(jobs);
    for (ExportNoteJob* job : jobs) writeNote(*job, links_);
  }

  // Waits for the oldest batch out, then takes in what its notes came to.
  void finish(ExportNoteWriters& writers, std::deque<std::unique_ptr<ExportNoteBatch>>& out) {
    const std::unique_ptr<ExportNoteBatch> batch = std::move(out.front());
    out.pop_front();
    writers.waitFor(*batch);
    takeIn(*batch);
    if (options_.progress) options_.progress(batch->end, notes_.size());
    if (!recorded_ && schedule_.due()) saveManifest();
  }

  void takeIn(ExportNoteBatch& batch) {
    writeFromPreviews(batch);
    std::exception_ptr error;
    for (ExportNoteJob& job : batch.jobs) {
      switch (job.outcome) {
        case ExportNoteJob::Outcome::kNotDone:
        case ExportNoteJob::Outcome::kNeedsPreview:
          if (job.error && !error) error = job.error;
          break;
        case ExportNoteJob::Outcome::kSkipped:
          kLog.warning() << "Skipped a note: " << job.skipReason;
          summary_.skipped.push_back({std::string(plan_.target(job.index)), std::move(job.skipReason)});
          break;
        case ExportNoteJob::Outcome::kOverLimit:
          kLog.warning() << "Skipped a note: " << kNoteBodyOverLimitText;
          summary_.overLimitSkipped.emplace_back(plan_.target(job.index));
          break;
        case ExportNoteJob::Outcome::kWritten:
          summary_.tablesUnreadable += job.tablesUnreadable;
          if (job.withoutBody) ++summary_.withoutBody;
          if (job.renamed) ++summary_.renamed;
          actions_[job.index] = Action::kWritten;
          recorded_ = false;
          ++summary_.written;
          break;
      }
    }
    if (error) std::rethrow_exception(error);
    if (options_.stop.stop_requested()) throw core::CancellationError();
  }

  RenderedNote render(const ExportNoteJob& job) {
    const LibraryExportNote& note = notes_[job.index];
    NoteRenderSource source;
    source.id = note.id().text();
    source.key = job.key;
    source.title = note.title();
    source.preview = job.preview;
    source.body = job.body;
    source.bodyOverLimit = job.bodyOverLimit;
    source.mayHaveTables = job.mayHaveTables;
    source.mayHaveInlineTexts = job.mayHaveInlineTexts;
    const std::string target = plan_.target(job.index);
    const std::string_view fromFolder = exportFolderOf(target);
    NoteRenderOptions renderOptions;
    renderOptions.noteLinkTarget = [&](std::string_view identifier) {
      return linkTarget(fromFolder, identifier);
    };
    // Without tables or inline texts to read, rendering does not touch the connection.
    return renderNoteSource(connection_, source, renderOptions);
  }

  // On a worker: renders the note unless that was done ahead, and replaces its file.
  void writeNote(ExportNoteJob& job, SymbolicLinkCheck& links) {
    const std::string target(plan_.target(job.index));
    if (const auto link = links.onFolders(target)) {
      job.skipReason = std::string(kSymbolicLinkRefused) + *link;
      job.outcome = ExportNoteJob::Outcome::kSkipped;
      return;
    }
    const RenderedNote rendered = job.rendered ? std::move(*job.rendered) : render(job);
    job.rendered.reset();
    std::string().swap(job.body);
    std::string().swap(job.preview);
    if (rendered.overLimit) {
      job.outcome = ExportNoteJob::Outcome::kOverLimit;
      return;
    }
    if (rendered.fromTitleAndPreview && !job.previewRead) {
      job.outcome = ExportNoteJob::Outcome::kNeedsPreview;
      return;
    }
    const LibraryExportNote& note = notes_[job.index];
    const std::string front = frontMatter(note, folderDisplayPaths_[note.folder]);
    try {
      if (!files_.replaceFileUnlessLink(joinPath(directory_, target), {front, rendered.markdown})) {
        job.skipReason = std::string(kSymbolicLinkRefused) + target;
        job.outcome = ExportNoteJob::Outcome::kSkipped;
        return;
      }
    } catch (const core::FileSystemError& error) {
      // A name too long for this file system, a file where a folder must go:
      // this note only.
      job.skipReason = error.reason();
      job.outcome = ExportNoteJob::Outcome::kSkipped;
      return;
    }
    // No other note can have taken the earlier file's name: the plan keeps it
    // reserved for this note.
    if (const auto previous = plan_.previous(job.index); previous && previous->path != target) {
      removeEarlierFile(files_, links, directory_, std::string(previous->path));
      job.renamed = true;
    }
    job.tablesUnreadable = rendered.tablesUnreadable;
    job.withoutBody = rendered.fromTitleAndPreview;
    job.outcome = ExportNoteJob::Outcome::kWritten;
  }

  // The relative link from a note in `fromFolder` to the note `identifier`
  // names, when that note is exported.
  std::optional<std::string> linkTarget(std::string_view fromFolder, std::string_view identifier) const {
    const LibraryExportNoteUuid wanted = LibraryExportNoteUuid::read(identifier);
    const auto linked = std::lower_bound(byIdentifier_.begin(), byIdentifier_.end(), wanted,
                                         [this](uint32_t note, const LibraryExportNoteUuid& uuid) {
                                           return lessIgnoringCase(notes_[note].uuid(), uuid);
                                         });
    if (linked == byIdentifier_.end() || lessIgnoringCase(wanted, notes_[*linked].uuid()) ||
        notes_[*linked].locked) {
      return std::nullopt;
    }
    return relativeLink(fromFolder, plan_.target(*linked));
  }

  void saveManifest() {
    const auto start = ManifestSchedule::Clock::now();
    writeRecords();
    schedule_.written(start);
    recorded_ = true;
  }

  NotesDatabaseConnection& connection_;
  core::FileSystem& files_;
  const LibraryExportOptions& options_;
  const std::string& directory_;
  const std::string& manifestPath_;
  const LibraryExportPlan& plan_;
  const std::vector<LibraryExportNote>& notes_;
  const std::vector<LibraryExportPlanEntry>& entries_;  // for each of notes_
  const std::vector<std::string>& folderDisplayPaths_;
  LibraryExportSummary& summary_;
  SymbolicLinkCheck writerLinks_[kWriters];  // one for each writer
  SymbolicLinkCheck links_;                  // the calling thread's
  enum class Action : uint8_t { kWrite, kWritten, kKeep, kSkipLocked };
  // By LibraryExportPlanEntry::previous: whether the note's earlier file,
  // there before the run, is of this version of the note.
  std::vector<bool> keptAsIs_;
  std::vector<Action> actions_;    // for each note of the plan
  std::vector<uint32_t> records_;  // the notes the manifest records, in id order
  ManifestSchedule schedule_;
  bool recorded_ = true;  // the manifest on disk holds every record made so far
  std::optional<NotesDatabaseAccess::AttachmentHolders> holders_;
  // The notes by UUID, case aside, for links between notes; made before any worker starts.
  std::vector<uint32_t> byIdentifier_;
};

// The library's folders and notes. Given a second connection, the note list
// is read in two parts at once, the folders with the second.
struct LibraryRows {
  std::vector<NotesFolderRow> folders;
  LibraryExportNoteList notes;
};

LibraryRows readLibraryRows(NotesDatabaseConnection& connection, NotesDatabaseAccess* database) {
  LibraryRows rows;
  if (!database) {
    rows.folders = NotesDatabaseAccess::fetchFolderTree(connection);
    NotesDatabaseAccess::forEachNoteWithoutJoins(connection, std::numeric_limits<int64_t>::min(),
                                                 std::numeric_limits<int64_t>::max(),
                                                 [&](NotesNoteRow& note) { rows.notes.add(note); });
    return rows;
  }
  LibraryExportNoteList parts[2];
  bool foldersRead = false;
  // The second part also reads the folders: it takes two fifths of the keys.
  database->readNoteListInTwoParts(
      connection, 0.6, [&](NotesDatabaseConnection& from, const NotesDatabaseAccess::NoteListPart& part) {
        if (part.index == 1) {
          rows.folders = NotesDatabaseAccess::fetchFolderTree(from);
          foldersRead = true;
        }
        // Room for every note of the library, so that neither part is moved
        // as it grows, nor the first when the second joins it.
        parts[part.index].reserve(static_cast<size_t>(part.objects));
        NotesDatabaseAccess::forEachNoteWithoutJoins(
            from, part.firstKey, part.lastKey, [&](NotesNoteRow& note) { parts[part.index].add(note); });
      });
  // An empty object table, or a single key: there was no second part.
  if (!foldersRead) rows.folders = NotesDatabaseAccess::fetchFolderTree(connection);
  rows.notes = std::move(parts[0]);
  rows.notes.append(std::move(parts[1]));
  return rows;
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
  // The library is read while the folder is looked at: neither needs the other.
  LibraryRows library;
  std::exception_ptr readError;
  std::jthread reader([&] {
    try {
      library = readLibraryRows(connection, options.database);
    } catch (...) {
      readError = std::current_exception();
    }
  });
  const std::string manifestPath = joinPath(directory, std::string(kExportManifestName));
  ManifestFile manifest = openManifest(files, manifestPath);
  const auto refuseUnlessOurs = [&] {
    if (manifest.state != ManifestState::kOurs && !options.force &&
        !holdsNothingOfTheUser(files, directory)) {
      throw LibraryExportError(LibraryExportError::Code::kFolderNotEmpty, directory);
    }
  };
  refuseUnlessOurs();
  reader.join();
  if (readError) std::rethrow_exception(readError);
  LibraryExportEarlierFiles earlier = readEarlierFiles(manifest, library.notes.notes());
  // A manifest may prove not to be ours only once it is read.
  if (manifest.state == ManifestState::kForeign) refuseUnlessOurs();
  // From here on the folder is ours: a run that stops at any point, even by
  // kill -9, leaves a manifest, so the next one resumes instead of refusing.
  if (manifest.state != ManifestState::kOurs) {
    files.writeStreamAtomically(manifestPath,
                                [&](const auto& piece) { formatLibraryExportManifest({}, piece); });
  }

  std::vector<bool> keptAsIs = presentEarlierFiles(files, directory, earlier, library.notes.notes());
  for (uint32_t i = 0; i < keptAsIs.size(); ++i) {
    keptAsIs[i] = keptAsIs[i] && !options.force && earlier.modifiedAsNow(i);
  }

  LibraryExportSummary summary;
  summary.notes = library.notes.notes().size();
  LibraryExportPlan plan =
      planLibraryExport(std::move(library.notes), library.folders, std::move(earlier), keptAsIs);
  summary.folders = plan.folders;
  summary.staleFiles = std::move(plan.staleFiles);

  {
    ExportWrite write{connection,          files,  options, directory, manifestPath, plan,
                      std::move(keptAsIs), summary};
    write.run();
  }
  kLog.info() << "Exported " << summary.written << " notes, " << summary.unchanged << " unchanged, "
              << summary.lockedSkipped << " locked";
  return summary;
}

}  // namespace zephyl::notes_store
