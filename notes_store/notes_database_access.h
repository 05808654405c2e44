// NotesDatabaseAccess: the only door through which Zephyl reads Apple Notes'
// data. Every operation opens NoteStore.sqlite read-only (SQLITE_OPEN_READONLY and
// nothing else: no pragma, no busy timeout, no shared cache; on media where
// SQLite cannot create the -shm, immutable as well), runs its statements,
// and closes the connection before it returns, on every path. The file is never
// written.
//
// Operations are blocking and keep no state across calls except the two default
// paths, computed once; callers run them off the main thread. Several operations
// may run at once, each on its own connection.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "core/file_system.h"
#include "notes_store/notes_database_connection.h"
#include "notes_store/notes_database_grant.h"
#include "notes_store/notes_database_records.h"
#include "notes_store/notes_database_statements.h"

namespace zephyl::notes_store {

inline constexpr std::string_view kNotesDatabaseFileName = "NoteStore.sqlite";
inline constexpr std::string_view kNotesGroupContainerSubpath =
    "Library/Group Containers/group.com.apple.notes";

// What the user is told, once per process, when the database had to be read
// without its -wal file (see NotesDatabaseAccess::openDatabase).
inline constexpr std::string_view kUnreadWalWarning =
    "the Notes database is in a folder Zephyl cannot write, so it was read without its -wal file: "
    "the most recent changes may be missing";

// At most this many keys are bound to one note-bodies statement.
inline constexpr size_t kNoteBodiesChunkSize = 500;

namespace internal {

// An open handle and the grant's access scope, released in that order.
class OpenNotesDatabase {
 public:
  OpenNotesDatabase(sqlite3* handle, NotesDatabaseGrant* grant, std::string scopedPath);
  OpenNotesDatabase(OpenNotesDatabase&& other) noexcept;
  OpenNotesDatabase& operator=(OpenNotesDatabase&&) = delete;
  ~OpenNotesDatabase();
  sqlite3* handle() const { return handle_; }
  void adopt(sqlite3* handle) { handle_ = handle; }

 private:
  sqlite3* handle_;
  NotesDatabaseGrant* grant_;  // null when no access scope was started
  std::string scopedPath_;
};

}  // namespace internal

class NotesDatabaseAccess {
 public:
  // `grant` and `fileSystem` must outlive the object. `homeDirectory` anchors the
  // default location.
  NotesDatabaseAccess(NotesDatabaseGrant& grant, core::FileSystem& fileSystem, std::string homeDirectory);
  ~NotesDatabaseAccess();

  // "<home>/Library/Group Containers/group.com.apple.notes", computed once.
  const std::string& groupContainerPath() const;
  // The group container joined with "NoteStore.sqlite", computed once.
  const std::string& defaultDatabasePath() const;

  // The file an operation would open now: the granted path (the file itself, or
  // NoteStore.sqlite inside the granted folder), else the default file. Throws
  // what the grant's resolution throws.
  std::string resolveDatabasePath() const;

  // Opens the database read-only, runs `body(connection)`, closes it, and returns
  // the body's result (bodies return a value); nullopt when no file exists at the
  // resolved path. Throws NotesDatabaseError when SQLite cannot open the file or
  // a folder on the way to it may not be searched, and whatever the body throws
  // (after closing).
  template <typename Body>
  auto withDatabase(Body&& body) -> std::optional<std::invoke_result_t<Body, NotesDatabaseConnection&>> {
    auto open = openDatabase();
    if (!open) return std::nullopt;
    NotesDatabaseConnection connection(open->handle());
    return std::forward<Body>(body)(connection);
  }

  // True when the file exists and SQLite opens it read-only; the handle is closed at once.
  bool canOpenDatabase(const std::string& path) const;

  // Called (from the opening thread) with kUnreadWalWarning the first time a
  // database is read without its -wal file. Set before the first operation.
  void setWarningHandler(std::function<void(std::string_view)> handler) { warn_ = std::move(handler); }

  // The SQLite VFS that opens files, by registered name; empty for SQLite's
  // default. For tests that make SQLite meet read-only media where chmod cannot
  // (as root). Set before the first operation.
  void setSqliteVfs(std::string name) { sqliteVfs_ = std::move(name); }

  // Lower-case column names of `table`; empty for an unknown table. Only the
  // constant names "ZICCLOUDSYNCINGOBJECT", "ZICNOTEDATA" and "Z_METADATA" are passed.
  static std::set<std::string> tableColumns(NotesDatabaseConnection& connection, std::string_view table);

  // Runs "BEGIN DEFERRED", "COMMIT" or "ROLLBACK". Throws NotesDatabaseError.
  static void executeStatement(NotesDatabaseConnection& connection, const std::string& sql);

  // Bodies by note-data key, 500 keys a statement, in the given order; keys without
  // a row (or with an empty blob) are absent, a blob stored past the size limit is
  // present as overLimit without its bytes. An empty list runs no statement; a
  // store without ZICNOTEDATA gives an empty map. Throws core::CancellationError
  // when `stop` is requested before a chunk, NotesDatabaseError on SQLite failures.
  static std::unordered_map<int64_t, NotesBodyBlob> fetchNoteBodies(NotesDatabaseConnection& connection,
                                                                    const std::vector<int64_t>& keys,
                                                                    std::stop_token stop = {});

  // Previews by note key, as fetchNoteBodies fetches bodies. Throws
  // core::CancellationError and NotesDatabaseError as it does.
  static std::unordered_map<int64_t, std::string> fetchNotePreviews(NotesDatabaseConnection& connection,
                                                                    const std::vector<int64_t>& keys,
                                                                    std::stop_token stop = {});

  static std::optional<std::string> fetchStoreUUID(NotesDatabaseConnection& connection);
  static bool hasNoteDataTable(NotesDatabaseConnection& connection);

  // At most 2000 folders, ordered by title without regard to case. Trash and
  // deleted folders, and everything inside them, are left out.
  static std::vector<NotesFolderRow> fetchFolderTree(NotesDatabaseConnection& connection);

  // Every listed note, unordered (callers sort).
  static std::vector<NotesNoteRow> fetchNoteList(NotesDatabaseConnection& connection);

  // The listed notes whose keys lie in [firstKey, lastKey], in key order, one row
  // at a time (`each` may move the row's strings out): a caller can read the list
  // in parts on several connections at once, and keep only what it needs.
  static void forEachNote(NotesDatabaseConnection& connection, int64_t firstKey, int64_t lastKey,
                          const std::function<void(NotesNoteRow&)>& each);

  // The same rows as forEachNote, read another way: the note rows alone, each
  // note's folder and accounts looked up among the linked rows read once
  // beforehand instead of joined to every note. Quicker for a whole list, where
  // a few thousand folders hold 100,000 notes; `each` may move strings out.
  static void forEachNoteWithoutJoins(NotesDatabaseConnection& connection, int64_t firstKey, int64_t lastKey,
                                      const std::function<void(NotesNoteRow&)>& each);

  // One of the two parts of the note list that readNoteListInTwoParts reads.
  struct NoteListPart {
    int index = 0;  // 0 or 1
    int64_t firstKey = 0;
    int64_t lastKey = 0;
    int64_t objects = 0;  // rows of the object table: no part lists more notes
  };
  using NoteListPartReader = std::function<void(NotesDatabaseConnection&, const NoteListPart&)>;

  // Reads the note list in two parts by key at once: `readPart` runs for part
  // 0 on `connection`, and for part 1 on a connection of its own, or after
  // part 0 on `connection` when no other opens. Part 0 takes `firstShare` of
  // the keys; part 1 is left out when it holds none. Rethrows what either
  // part throws.
  void readNoteListInTwoParts(NotesDatabaseConnection& connection, double firstShare,
                              const NoteListPartReader& readPart);

  static std::optional<NotesNoteBodyRow> fetchNote(NotesDatabaseConnection& connection, int64_t notePK);

  // The keys of the notes that have tables, and of those that keep inline
  // attachment texts: a caller rendering many notes asks once, in one pass
  // over the objects, rather than twice per note. Throws NotesDatabaseError.
  struct AttachmentHolders {
    std::unordered_set<int64_t> withTables;
    std::unordered_set<int64_t> withInlineTexts;
  };
  static AttachmentHolders fetchAttachmentHolders(NotesDatabaseConnection& connection);

  // The visible text of the note's inline attachments (hashtags, mentions) by
  // identifier; empty when the library keeps none.
  static std::unordered_map<std::string, std::string> fetchInlineAttachmentTexts(
      NotesDatabaseConnection& connection, int64_t notePK);

  // Whether the note with this key is locked with a password (false for no such note).
  static bool isPasswordProtected(NotesDatabaseConnection& connection, int64_t notePK);

  // The table attachments of a note (every row the statement selects).
  static std::vector<NotesTableDataRow> fetchTableRows(NotesDatabaseConnection& connection, int64_t notePK);

  // The mergeable data of each table of the note whose identifier is in
  // `tableIdentifiers` (mergeableData1, else mergeableData). An empty set keeps nothing.
  static std::unordered_map<std::string, std::string> fetchTableData(
      NotesDatabaseConnection& connection, int64_t notePK,
      const std::unordered_set<std::string>& tableIdentifiers);

  static std::vector<NotesFolderNoteRow> fetchFolderNotesWithBodies(NotesDatabaseConnection& connection,
                                                                    NamedFolderSet set);
  static std::vector<NotesFolderNoteSummaryRow> fetchFolderNotesWithoutBodies(
      NotesDatabaseConnection& connection, NamedFolderSet set);

  static std::vector<NotesLinkAttachmentRow> fetchLinkAttachments(NotesDatabaseConnection& connection);
  static std::vector<NotesLinkTargetRow> fetchLinkTargets(NotesDatabaseConnection& connection);
  // Calls `visit` with each live note's body, one row at a time, so that at most
  // one body is in memory; what `visit` throws ends the statement and propagates.
  static void forEachCandidateBody(NotesDatabaseConnection& connection,
                                   const std::function<void(NotesCandidateBodyRow)>& visit);

 private:
  using OpenDatabase = internal::OpenNotesDatabase;
  struct ResolvedLocation {
    std::string path;
    std::optional<std::string> grantedPath;  // set when the grant named the location
  };

  ResolvedLocation resolveLocation() const;
  std::optional<OpenDatabase> openDatabase();
  const char* vfs() const { return sqliteVfs_.empty() ? nullptr : sqliteVfs_.c_str(); }

  NotesDatabaseGrant& grant_;
  core::FileSystem& fileSystem_;
  std::string homeDirectory_;
  mutable std::once_flag pathsOnce_;
  mutable std::string groupContainerPath_;  // written once under pathsOnce_
  mutable std::string defaultDatabasePath_;
  std::function<void(std::string_view)> warn_;
  std::string sqliteVfs_;
  std::once_flag walWarningOnce_;
};

}  // namespace zephyl::notes_store
