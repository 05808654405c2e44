// NotesQuickOpenService: finds notes and folders by typing. It loads a snapshot
// of every listed note and folder through NotesDatabaseAccess, keeps the
// searchable text of each note in a QuickOpenSearchTextCache (bodies fetched in
// bulk and decoded only when a note is new or changed), and answers queries by a
// substring scan of text folded once when it entered the cache.
//
// Results: notes whose title matches, then notes whose folder path matches, then
// notes whose text matches, each group newest first; folder results follow all
// note results. An empty query lists the most recent notes.
//
// Not thread-safe: one owner calls it, off the main thread for the database work.
// refresh reads the note list on helper threads of its own; `files` is called
// from the owner's thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "core/file_system.h"
#include "core/search_text_folder.h"
#include "navigation/quick_open_search_result.h"
#include "navigation/quick_open_search_text_cache.h"
#include "navigation/quick_open_snapshot.h"
#include "notes_store/notes_database_access.h"

namespace zephyl::navigation {

class NotesQuickOpenService {
 public:
  // `database` and `files` must outlive the service. The search text cache is kept
  // in `cacheDirectory` (one file per Notes store); empty keeps it in memory only.
  NotesQuickOpenService(notes_store::NotesDatabaseAccess& database, core::FileSystem& files,
                        std::string cacheDirectory, core::SearchTextFolder folder = core::SearchTextFolder());

  // Reads the snapshot and brings the search text of every note up to date, on
  // one connection. Throws NotesQuickOpenError: kNotesDatabaseAccessRequired when
  // there is no database, kDatabaseUnavailable (SQLite's message as detail) when
  // it cannot be read, in which case the last snapshot stays in use. Throws
  // core::CancellationError when `stop` is requested between body chunks.
  void refresh(std::stop_token stop = {});

  // The snapshot alone (no body text); same errors as refresh.
  void loadSnapshot();

  // Fetches and decodes the bodies of the notes whose cached text is missing or
  // stale; same errors as refresh.
  void updateSearchText(std::stop_token stop = {});

  // Writes the search text cache file when it changed. Never throws: a cache that
  // cannot be written is only logged.
  void saveSearchTextCache();

  const QuickOpenSnapshot& snapshot() const { return snapshot_; }

  // The results for `query`, at most `limit` of them (0: all). Folder results
  // keep up to a quarter of the places (at least one) when notes would fill them.
  std::vector<QuickOpenSearchResult> search(std::string_view query, size_t limit) const;

  // The cached search text of snapshot().notes[noteIndex] (for a preview); null
  // before the search text was read.
  const QuickOpenSearchTextCacheEntry* searchText(size_t noteIndex) const {
    return searchable_[noteIndex].text;
  }

  // How many bodies the last update decoded.
  size_t decodedBodyCount() const { return decodedBodyCount_; }

  // The notes whose bodies the last update skipped for inflating past
  // notes_store::kMaxInflatedNoteBodyBytes; they are found by title and folder.
  const std::vector<int64_t>& overLimitNoteKeys() const { return overLimitNoteKeys_; }

  const core::SearchTextFolder& folder() const { return folder_; }

 private:
  // Folded fields of snapshot_.notes[i] and the cached text, kept beside the snapshot.
  struct SearchableNote {
    size_t titleEnd = 0;    // in foldedTitles_, where the previous note's title ends this one starts
    size_t folderPath = 0;  // index into foldedFolderPaths_
    const QuickOpenSearchTextCacheEntry* text = nullptr;  // owned by cache_
  };

  // Notes as listed, with their accounts (for the path of a folder past the
  // folder tree's cap) beside them until the folders are known.
  struct ListedNotes {
    std::vector<QuickOpenNote> notes;
    std::vector<std::string> accountNames;
  };
  struct FolderPaths {
    std::unordered_map<std::string, size_t> index;  // folder ID → folder index
    std::vector<std::string> shown;                 // by folder index
    std::vector<std::string> folded;                // by folder index, then unlisted folders
  };

  template <typename Body>
  auto withConnection(Body&& body);
  void readSnapshot(notes_store::NotesDatabaseConnection& connection);
  // The note list; a note whose text `cache` holds current is read without its preview.
  ListedNotes readNoteList(notes_store::NotesDatabaseConnection& connection,
                           const QuickOpenSearchTextCache* cache);
  // The folder tree's rows as folders (appended to `folders`) and their paths.
  FolderPaths readFolders(std::vector<notes_store::NotesFolderRow> rows,
                          std::vector<QuickOpenFolder>& folders) const;
  // Puts `next` in use, with the folded titles and paths that search scans.
  void adoptSnapshot(QuickOpenSnapshot next, std::vector<std::string> foldedFolderPaths,
                     const std::vector<size_t>& folderPathOf);
  // Sets each note's folder path; returns the index of its folded path.
  std::vector<size_t> placeInFolders(std::vector<QuickOpenNote>& notes,
                                     const std::vector<std::string>& accountNames, FolderPaths& paths) const;
  void readSearchText(notes_store::NotesDatabaseConnection& connection, std::stop_token stop);
  // Decodes and caches the bodies of the notes that `found` lacks; a body past
  // the size limit is put in `overLimit` (note indices). Returns how many were stored.
  size_t storeBodyTexts(notes_store::NotesDatabaseConnection& connection,
                        const std::vector<const QuickOpenSearchTextCacheEntry*>& found,
                        std::unordered_set<size_t>& overLimit, std::stop_token stop);
  // Caches the previews of the notes still without text; returns how many.
  size_t storePreviewTexts(const std::vector<const QuickOpenSearchTextCacheEntry*>& found,
                           const std::unordered_set<size_t>& overLimit);
  // Drops the cached texts of notes no longer listed.
  void dropDeletedNotes(const std::vector<const QuickOpenSearchTextCacheEntry*>& found, size_t storedCount);
  std::string cacheFilePath(const std::string& storeUUID) const;
  QuickOpenSearchResult noteResult(size_t index, std::string_view query,
                                   std::optional<QuickOpenMatchKind> kind) const;

  notes_store::NotesDatabaseAccess& database_;
  core::FileSystem& files_;
  std::string cacheDirectory_;
  core::SearchTextFolder folder_;

  QuickOpenSnapshot snapshot_;
  std::vector<SearchableNote> searchable_;       // parallel to snapshot_.notes
  std::string foldedTitles_;                     // the notes' folded titles, back to back
  std::vector<std::string> foldedFolderPaths_;   // by folder index, then unlisted folders
  std::vector<std::string> foldedFolderTitles_;  // parallel to snapshot_.folders
  std::string storeUUID_;
  std::string loadedCacheStore_;  // the store whose cache file was read ("-" for none named)
  QuickOpenSearchTextCache cache_;
  size_t decodedBodyCount_ = 0;
  std::vector<int64_t> overLimitNoteKeys_;
};

}  // namespace zephyl::navigation
