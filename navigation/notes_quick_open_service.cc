#include "navigation/notes_quick_open_service.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <future>
#include <iterator>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "core/logger.h"
#include "navigation/notes_quick_open_error.h"
#include "navigation/quick_open_result_snippet.h"
#include "notes_store/component_path.h"
#include "notes_store/folder_display_path.h"
#include "notes_store/note_body_decoder.h"
#include "notes_store/notes_database_error.h"
#include "notes_store/notes_object_identifier.h"

namespace zephyl::navigation {
namespace {

using notes_store::NotesDatabaseAccess;
using notes_store::NotesDatabaseConnection;

constexpr std::string_view kObjectReplacement = "\xEF\xBF\xBC";  // U+FFFC, where attachments stand

constexpr core::Logger kLog("NotesQuickOpenService");

std::string joinPath(const std::vector<std::string>& components) {
  std::string path;
  for (const auto& component : components) {
    if (!path.empty()) path += notes_store::kFolderPathSeparator;
    path += component.empty() ? kUntitledFolderTitle : std::string_view(component);
  }
  return path;
}

std::string_view trimmedBlanks(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\n\v\f\r";
  const size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

bool contains(std::string_view haystack, std::string_view needle) {
  if (needle.size() > haystack.size()) return false;
  return ::memmem(haystack.data(), haystack.size(), needle.data(), needle.size()) != nullptr;
}

// The plain text of a note for search and snippets, from its body as stored.
std::optional<std::string> bodyText(std::string_view blob, int64_t noteKey, bool& overLimit) {
  const auto parsed = notes_store::decodeNoteBody(blob, noteKey);
  overLimit = parsed.overLimit;
  const auto* candidate = parsed.firstWithText();
  if (candidate == nullptr) return std::nullopt;
  const std::string_view source = *candidate->text;
  if (source.find(kObjectReplacement) == std::string_view::npos) return cleanSnippetText(source);
  std::string text;
  text.reserve(source.size());
  for (size_t at = 0;;) {
    const size_t marker = source.find(kObjectReplacement, at);
    text.append(source.substr(at, marker - at));
    if (marker == std::string_view::npos) break;
    text += ' ';
    at = marker + kObjectReplacement.size();
  }
  return cleanSnippetText(text);
}

// The notes in the note comparator's order, `folderPathOf` moved alongside.
void sortNewestFirst(std::vector<QuickOpenNote>& notes, std::vector<size_t>& folderPathOf) {
  // Sorting positions and moving each note once is cheaper than letting the
  // sort shuffle 100,000 notes of eight strings each; the moves follow the
  // permutation's cycles in place, so that no second array of notes is needed.
  std::vector<size_t> order(notes.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::stable_sort(order.begin(), order.end(),
                   [&](size_t a, size_t b) { return quickOpenNoteComesBefore(notes[a], notes[b]); });
  for (size_t start = 0; start < order.size(); ++start) {
    if (order[start] == start) continue;
    QuickOpenNote held = std::move(notes[start]);
    const size_t heldPath = folderPathOf[start];
    size_t at = start;
    while (order[at] != start) {
      notes[at] = std::move(notes[order[at]]);
      folderPathOf[at] = folderPathOf[order[at]];
      at = std::exchange(order[at], at);
    }
    notes[at] = std::move(held);
    folderPathOf[at] = heldPath;
    order[at] = at;
  }
}

}  // namespace

bool quickOpenNoteComesBefore(const QuickOpenNote& a, const QuickOpenNote& b) {
  if (a.modifiedAt.has_value() != b.modifiedAt.has_value()) return a.modifiedAt.has_value();
  if (a.modifiedAt) return *a.modifiedAt > *b.modifiedAt;
  static const core::SearchTextFolder folder;
  return folder.fold(a.title) < folder.fold(b.title);
}

std::string_view matchKindName(QuickOpenMatchKind kind) {
  switch (kind) {
    case QuickOpenMatchKind::kTitle:
      return "title";
    case QuickOpenMatchKind::kFolder:
      return "folder";
    case QuickOpenMatchKind::kText:
      return "text";
  }
  return {};
}

NotesQuickOpenService::NotesQuickOpenService(notes_store::NotesDatabaseAccess& database,
                                             core::FileSystem& files, std::string cacheDirectory,
                                             core::SearchTextFolder folder)
    : database_(database),
      files_(files),
      cacheDirectory_(std::move(cacheDirectory)),
      folder_(std::move(folder)) {}

template <typename Body>
auto NotesQuickOpenService::withConnection(Body&& body) {
  try {
    auto done = database_.withDatabase([&](NotesDatabaseConnection& connection) {
      body(connection);
      return true;
    });
    if (!done) throw NotesQuickOpenError(NotesQuickOpenError::Code::kNotesDatabaseAccessRequired);
  } catch (const notes_store::NotesDatabaseError& e) {
    kLog.error() << "Could not read the Notes database: " << e.message();
    throw NotesQuickOpenError(NotesQuickOpenError::Code::kDatabaseUnavailable, e.message());
  }
}

void NotesQuickOpenService::refresh(std::stop_token stop) {
  withConnection([&](NotesDatabaseConnection& connection) {
    // The cache file first (mapped, its records walked: a few milliseconds), so
    // that the note list keeps no preview that a cached text makes unneeded.
    std::string store = NotesDatabaseAccess::fetchStoreUUID(connection).value_or("");
    if (store.empty()) store = "-";
    if (const std::string path = cacheFilePath(store); store != loadedCacheStore_ && !path.empty()) {
      cache_.load(files_, path, folder_.foldingKey());
      loadedCacheStore_ = store;
    }
    readSnapshot(connection);
    readSearchText(connection, stop);
  });
#ifdef __GLIBC__
  // Reading leaves freed memory behind (SQLite's page caches, the note list's
  // parts, fetched bodies) that glibc keeps; the snapshot lives on without it.
  ::malloc_trim(0);
#endif
}

void NotesQuickOpenService::loadSnapshot() {
  // Alone, the snapshot keeps every preview: until the search text is read,
  // the previews are what its notes show.
  std::string store = std::exchange(loadedCacheStore_, std::string());
  try {
    withConnection([&](NotesDatabaseConnection& connection) { readSnapshot(connection); });
  } catch (...) {
    loadedCacheStore_ = std::move(store);
    throw;
  }
  loadedCacheStore_ = std::move(store);
}

void NotesQuickOpenService::updateSearchText(std::stop_token stop) {
  withConnection([&](NotesDatabaseConnection& connection) { readSearchText(connection, stop); });
}

void NotesQuickOpenService::readSnapshot(NotesDatabaseConnection& connection) {
  // Built aside and swapped in, so that a failure leaves the last snapshot in use.
  QuickOpenSnapshot next;
  const std::string storeUUID = NotesDatabaseAccess::fetchStoreUUID(connection).value_or("");
  // The folder tree and the second half of the note list (by key) run on
  // connections of their own while the first half runs on this one: a one-shot
  // search waits for the longest of them, not for all in turn.
  auto pendingFolders = std::async(std::launch::async, [this] {
    return database_.withDatabase(
        [](NotesDatabaseConnection& own) { return NotesDatabaseAccess::fetchFolderTree(own); });
  });
  // A note whose cached text is current never shows its preview: not kept.
  const QuickOpenSearchTextCache* cache =
      loadedCacheStore_ == (storeUUID.empty() ? "-" : storeUUID) ? &cache_ : nullptr;
  ListedNotes list = readNoteList(connection, cache);
  next.notes = std::move(list.notes);
  FolderPaths paths =
      readFolders(pendingFolders.get().value_or(std::vector<notes_store::NotesFolderRow>{}), next.folders);
  std::vector<size_t> folderPathOf = placeInFolders(next.notes, list.accountNames, paths);
  std::vector<std::string>().swap(list.accountNames);
  sortNewestFirst(next.notes, folderPathOf);
  adoptSnapshot(std::move(next), std::move(paths.folded), folderPathOf);
  storeUUID_ = storeUUID;
  kLog.debug() << "Snapshot: " << snapshot_.notes.size() << " notes, " << snapshot_.folders.size()
               << " folders";
}

void NotesQuickOpenService::adoptSnapshot(QuickOpenSnapshot next, std::vector<std::string> foldedFolderPaths,
                                          const std::vector<size_t>& folderPathOf) {
  std::vector<SearchableNote> searchable(next.notes.size());
  // Folded titles back to back: one block, not a string of its own for each note.
  std::string foldedTitles;
  for (size_t i = 0; i < next.notes.size(); ++i) {
    foldedTitles += folder_.fold(next.notes[i].title);
    searchable[i].titleEnd = foldedTitles.size();
    searchable[i].folderPath = folderPathOf[i];
  }
  std::vector<std::string> folderTitles;
  folderTitles.reserve(next.folders.size());
  for (const auto& folder : next.folders) {
    const std::string_view title = trimmedBlanks(folder.title);
    folderTitles.push_back(folder_.fold(title.empty() ? kUntitledFolderTitle : title));
  }

  snapshot_ = std::move(next);
  foldedTitles.shrink_to_fit();
  searchable_ = std::move(searchable);
  foldedTitles_ = std::move(foldedTitles);
  foldedFolderPaths_ = std::move(foldedFolderPaths);
  foldedFolderTitles_ = std::move(folderTitles);
}

NotesQuickOpenService::ListedNotes NotesQuickOpenService::readNoteList(
    NotesDatabaseConnection& connection, const QuickOpenSearchTextCache* cache) {
  ListedNotes parts[2];
  database_.readNoteListInTwoParts(
      connection, 0.5, [&](NotesDatabaseConnection& own, const NotesDatabaseAccess::NoteListPart& range) {
        ListedNotes& part = parts[range.index];
        // Room for every note a part can hold (the first takes the second's
        // too), so that its array never moves; pages never written cost nothing.
        const auto room = static_cast<size_t>(
            range.index == 0 ? range.objects
                             : std::min<uint64_t>(static_cast<uint64_t>(range.objects),
                                                  static_cast<uint64_t>(range.lastKey) -
                                                      static_cast<uint64_t>(range.firstKey) + 1));
        part.notes.reserve(room);
        part.accountNames.reserve(room);
        NotesDatabaseAccess::forEachNoteWithoutJoins(
            own, range.firstKey, range.lastKey, [&](notes_store::NotesNoteRow& row) {
              QuickOpenNote& note = part.notes.emplace_back();
              note.noteURLIdentifier = std::move(row.id);
              if (const auto key = notes_store::notesObjectKey(note.noteURLIdentifier)) note.noteKey = *key;
              note.uuid = std::move(row.uuid);
              note.title = std::move(row.title);
              if (cache == nullptr || !row.modifiedAt ||
                  cache->find(note.noteKey, *row.modifiedAt) == nullptr)
                note.previewText = std::move(row.preview);
              note.folderID = std::move(row.folderID);
              note.folderName =
                  row.folderName.empty() ? std::string(kUntitledFolderTitle) : std::move(row.folderName);
              note.noteDataPK = row.noteDataPK;
              note.isPasswordProtected = row.isPasswordProtected != 0;
              note.createdAt = row.createdAt;
              note.modifiedAt = row.modifiedAt;
              part.accountNames.push_back(std::move(row.accountName));
            });
      });
  ListedNotes& list = parts[0];
  std::move(parts[1].notes.begin(), parts[1].notes.end(), std::back_inserter(list.notes));
  std::move(parts[1].accountNames.begin(), parts[1].accountNames.end(),
            std::back_inserter(list.accountNames));
  return std::move(list);
}

NotesQuickOpenService::FolderPaths NotesQuickOpenService::readFolders(
    std::vector<notes_store::NotesFolderRow> rows, std::vector<QuickOpenFolder>& folders) const {
  FolderPaths paths;
  for (auto& row : rows) {
    QuickOpenFolder folder;
    folder.id = std::move(row.id);
    folder.title = std::move(row.title);
    // A damaged component path still leaves the folder findable by its title.
    folder.pathComponents =
        notes_store::parseComponentPath(row.componentPath).value_or(std::vector<std::string>{folder.title});
    folder.modifiedAt = row.modifiedAt;
    paths.index.emplace(folder.id, folders.size());
    paths.shown.push_back(joinPath(folder.pathComponents));
    paths.folded.push_back(folder_.fold(paths.shown.back()));
    folders.push_back(std::move(folder));
  }
  return paths;
}

std::vector<size_t> NotesQuickOpenService::placeInFolders(std::vector<QuickOpenNote>& notes,
                                                          const std::vector<std::string>& accountNames,
                                                          FolderPaths& paths) const {
  // Notes share their folder's folded path; a note whose folder is past the
  // folder tree's cap gets one of its own after the tree's.
  std::vector<size_t> folderPathOf(notes.size());
  for (size_t i = 0; i < notes.size(); ++i) {
    QuickOpenNote& note = notes[i];
    if (const auto it = paths.index.find(note.folderID); it != paths.index.end()) {
      note.folderPath = paths.shown[it->second];
      folderPathOf[i] = it->second;
    } else {
      note.folderPath = notes_store::folderDisplayPath(accountNames[i], note.folderName);
      folderPathOf[i] = paths.folded.size();
      paths.folded.push_back(folder_.fold(note.folderPath));
    }
  }
  return folderPathOf;
}

std::string NotesQuickOpenService::cacheFilePath(const std::string& storeUUID) const {
  if (cacheDirectory_.empty()) return {};
  // The UUID comes from the database file: keep only what is safe in a file name.
  std::string name;
  for (const char c : storeUUID) {
    if (std::isalnum(static_cast<unsigned char>(c)) || c == '-') name += c;
  }
  return cacheDirectory_ + "/quick-open-search-" + (name.empty() ? "store" : name) + ".cache";
}

void NotesQuickOpenService::readSearchText(NotesDatabaseConnection& connection, std::stop_token stop) {
  const std::string store = storeUUID_.empty() ? "-" : storeUUID_;
  if (loadedCacheStore_ != store) {
    const std::string path = cacheFilePath(store);
    if (!path.empty()) cache_.load(files_, path, folder_.foldingKey());
    loadedCacheStore_ = store;
  }
  // One look-up per note; what it finds stays valid until an entry is stored.
  std::vector<const QuickOpenSearchTextCacheEntry*> found(snapshot_.notes.size(), nullptr);
  for (size_t i = 0; i < snapshot_.notes.size(); ++i) {
    const QuickOpenNote& note = snapshot_.notes[i];
    if (note.modifiedAt) found[i] = cache_.find(note.noteKey, *note.modifiedAt);
  }
  decodedBodyCount_ = 0;
  overLimitNoteKeys_.clear();
  std::unordered_set<size_t> overLimit;  // note indices
  size_t storedCount = storeBodyTexts(connection, found, overLimit, stop);
  storedCount += storePreviewTexts(found, overLimit);
  dropDeletedNotes(found, storedCount);

  for (size_t i = 0; i < snapshot_.notes.size(); ++i) {
    QuickOpenNote& note = snapshot_.notes[i];
    if (storedCount > 0) found[i] = note.modifiedAt ? cache_.find(note.noteKey, *note.modifiedAt) : nullptr;
    searchable_[i].text = found[i];
    note.searchTextIsComplete = found[i] != nullptr && found[i]->complete;
    // The cached text starts from the preview or holds the whole note: the
    // preview is not read again, and 100,000 of them are worth 12 MB.
    if (found[i] != nullptr) std::string().swap(note.previewText);
  }
  kLog.debug() << "Search text: " << decodedBodyCount_ << " bodies decoded, " << cache_.size() << " cached";
}

size_t NotesQuickOpenService::storeBodyTexts(NotesDatabaseConnection& connection,
                                             const std::vector<const QuickOpenSearchTextCacheEntry*>& found,
                                             std::unordered_set<size_t>& overLimit, std::stop_token stop) {
  std::unordered_map<int64_t, size_t> noteOfBody;  // note-data key → note index
  std::vector<int64_t> bodyKeys;
  for (size_t i = 0; i < snapshot_.notes.size(); ++i) {
    const QuickOpenNote& note = snapshot_.notes[i];
    // Locked bodies are encrypted: the preview is all there is to search.
    if (note.modifiedAt && found[i] == nullptr && !note.isPasswordProtected && note.noteDataPK) {
      noteOfBody.emplace(*note.noteDataPK, i);
      bodyKeys.push_back(*note.noteDataPK);
    }
  }
  if (bodyKeys.empty()) return 0;
  const auto bodies = NotesDatabaseAccess::fetchNoteBodies(connection, bodyKeys, stop);
  std::vector<std::pair<size_t, const notes_store::NotesBodyBlob*>> work;  // note index, body
  work.reserve(bodies.size());
  for (const auto& [dataKey, blob] : bodies) {
    if (const auto it = noteOfBody.find(dataKey); it != noteOfBody.end())
      work.emplace_back(it->second, &blob);
  }
  // Decoding, cleaning and folding a body does not depend on any other, so two
  // threads share it; batches keep few texts waiting to be stored.
  struct Prepared {
    std::optional<std::string> text;
    std::string folded;
    bool tooLarge = false;
  };
  constexpr size_t kBatch = 4096;
  std::vector<Prepared> prepared(std::min(kBatch, work.size()));
  const auto prepare = [&](size_t begin, size_t from, size_t to) {
    for (size_t i = from; i < to; ++i) {
      Prepared& item = prepared[i - begin];
      item.tooLarge = work[i].second->overLimit;
      item.text = item.tooLarge ? std::nullopt
                                : bodyText(work[i].second->bytes, snapshot_.notes[work[i].first].noteKey,
                                           item.tooLarge);
      item.folded = item.text ? folder_.fold(*item.text) : std::string();
    }
  };
  size_t storedCount = 0;
  for (size_t begin = 0; begin < work.size(); begin += kBatch) {
    const size_t end = std::min(work.size(), begin + kBatch);
    const size_t middle = begin + (end - begin) / 2;
    auto helper = std::async(std::launch::async, prepare, begin, middle, end);
    prepare(begin, begin, middle);
    helper.get();
    for (size_t i = begin; i < end; ++i) {
      Prepared& item = prepared[i - begin];
      const QuickOpenNote& note = snapshot_.notes[work[i].first];
      if (item.tooLarge) {
        // Not cached as its preview either: each update says again that it was skipped.
        overLimit.insert(work[i].first);
        overLimitNoteKeys_.push_back(note.noteKey);
      }
      if (!item.text) continue;
      ++decodedBodyCount_;
      cache_.store(note.noteKey, *note.modifiedAt, std::move(*item.text), std::move(item.folded), true);
      ++storedCount;
    }
  }
  return storedCount;
}

size_t NotesQuickOpenService::storePreviewTexts(
    const std::vector<const QuickOpenSearchTextCacheEntry*>& found,
    const std::unordered_set<size_t>& overLimit) {
  // Whatever is still missing (locked, no body, an unreadable body) is searched by
  // its preview.
  size_t storedCount = 0;
  for (size_t i = 0; i < snapshot_.notes.size(); ++i) {
    const QuickOpenNote& note = snapshot_.notes[i];
    if (!note.modifiedAt || found[i] != nullptr || overLimit.count(i) != 0 ||
        cache_.find(note.noteKey, *note.modifiedAt) != nullptr) {
      continue;
    }
    std::string text = cleanSnippetText(note.previewText);
    std::string folded = folder_.fold(text);
    cache_.store(note.noteKey, *note.modifiedAt, std::move(text), std::move(folded), false);
    ++storedCount;
  }
  return storedCount;
}

void NotesQuickOpenService::dropDeletedNotes(const std::vector<const QuickOpenSearchTextCacheEntry*>& found,
                                             size_t storedCount) {
  // Deleted notes leave entries behind. When nothing was stored and every entry
  // was found, none can be stale: the common case skips a set of every key.
  std::vector<int64_t> hitKeys;
  hitKeys.reserve(snapshot_.notes.size());
  for (size_t i = 0; i < snapshot_.notes.size(); ++i) {
    if (found[i] != nullptr) hitKeys.push_back(snapshot_.notes[i].noteKey);
  }
  std::sort(hitKeys.begin(), hitKeys.end());
  const size_t distinctHits =
      static_cast<size_t>(std::unique(hitKeys.begin(), hitKeys.end()) - hitKeys.begin());
  if (storedCount == 0 && distinctHits == cache_.size()) return;
  std::unordered_set<int64_t> liveKeys;
  liveKeys.reserve(snapshot_.notes.size());
  for (const QuickOpenNote& note : snapshot_.notes) liveKeys.insert(note.noteKey);
  cache_.retainOnly(liveKeys);
}

void NotesQuickOpenService::saveSearchTextCache() {
  if (loadedCacheStore_.empty()) return;
  const std::string path = cacheFilePath(loadedCacheStore_);
  if (path.empty()) return;
  try {
    // Files of a save that kill -9 or a power cut interrupted.
    files_.removeStaleTemporaryFiles(cacheDirectory_);
    cache_.save(files_, path, folder_.foldingKey());
  } catch (const std::exception& e) {
    kLog.warning() << "Could not write the search text cache: " << e.what();
  }
}

QuickOpenSearchResult NotesQuickOpenService::noteResult(size_t index, std::string_view query,
                                                        std::optional<QuickOpenMatchKind> kind) const {
  const QuickOpenNote& note = snapshot_.notes[index];
  const auto* text = searchable_[index].text;
  QuickOpenSearchResult result;
  result.snippet = makeResultSnippet(text ? std::string_view(text->text) : note.previewText, query,
                                     kQuickOpenSnippetLength, folder_);
  result.item = note;
  result.matchedQuery = std::string(query);
  result.matchKind = kind;
  return result;
}

std::vector<QuickOpenSearchResult> NotesQuickOpenService::search(std::string_view query, size_t limit) const {
  const std::string_view trimmed = trimmedBlanks(query);
  std::vector<QuickOpenSearchResult> results;
  const size_t noteCount = snapshot_.notes.size();
  if (trimmed.empty()) {
    const size_t shown = limit == 0 ? noteCount : std::min(limit, noteCount);
    for (size_t i = 0; i < shown; ++i) results.push_back(noteResult(i, {}, std::nullopt));
    return results;
  }

  const std::string folded = folder_.fold(trimmed);
  std::vector<bool> pathMatches(foldedFolderPaths_.size());
  for (size_t i = 0; i < foldedFolderPaths_.size(); ++i)
    pathMatches[i] = contains(foldedFolderPaths_[i], folded);
  std::vector<size_t> byKind[3];
  for (size_t i = 0; i < noteCount; ++i) {
    const SearchableNote& note = searchable_[i];
    const size_t titleStart = i == 0 ? 0 : searchable_[i - 1].titleEnd;
    if (contains(std::string_view(foldedTitles_).substr(titleStart, note.titleEnd - titleStart), folded)) {
      byKind[0].push_back(i);
    } else if (pathMatches[note.folderPath]) {
      byKind[1].push_back(i);
    } else if (note.text != nullptr && contains(note.text->foldedText, folded)) {
      byKind[2].push_back(i);
    }
  }
  std::vector<size_t> folderMatches;
  for (size_t i = 0; i < snapshot_.folders.size(); ++i) {
    if (contains(foldedFolderTitles_[i], folded)) folderMatches.push_back(i);
  }

  const size_t noteMatches = byKind[0].size() + byKind[1].size() + byKind[2].size();
  size_t noteSlots = noteMatches;
  size_t folderSlots = folderMatches.size();
  if (limit > 0 && noteMatches + folderMatches.size() > limit) {
    // Notes would crowd out every folder: keep a quarter of the places for them.
    folderSlots = std::min(folderMatches.size(), std::max<size_t>(1, limit / 4));
    noteSlots = std::min(noteMatches, limit - folderSlots);
    folderSlots = std::min(folderMatches.size(), limit - noteSlots);
  }

  results.reserve(noteSlots + folderSlots);
  for (size_t kind = 0; kind < 3 && results.size() < noteSlots; ++kind) {
    for (const size_t index : byKind[kind]) {
      if (results.size() == noteSlots) break;
      results.push_back(noteResult(index, trimmed, static_cast<QuickOpenMatchKind>(kind)));
    }
  }
  for (size_t i = 0; i < folderSlots; ++i) {
    const QuickOpenFolder& folder = snapshot_.folders[folderMatches[i]];
    QuickOpenSearchResult result;
    result.snippet = joinPath(folder.pathComponents);
    result.item = folder;
    result.matchedQuery = std::string(trimmed);
    result.matchKind = QuickOpenMatchKind::kTitle;
    results.push_back(std::move(result));
  }
  return results;
}

}  // namespace zephyl::navigation
