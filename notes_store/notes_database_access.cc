#include "notes_store/notes_database_access.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <thread>

#include "core/error.h"
#include "core/logger.h"
#include "notes_store/internal/sqlite_statement.h"
#include "notes_store/notes_database_error.h"
#include "notes_store/notes_object_identifier.h"

namespace zephyl::notes_store {
namespace {

using internal::SqliteStatement;

constexpr core::Logger kLog("NotesDatabaseAccess");

std::string lastPathComponent(const std::string& path) {
  std::string trimmed = path;
  while (trimmed.size() > 1 && trimmed.back() == '/') trimmed.pop_back();
  const size_t slash = trimmed.rfind('/');
  return slash == std::string::npos ? trimmed : trimmed.substr(slash + 1);
}

std::string joinPath(const std::string& folder, std::string_view name) {
  std::string path = folder;
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  if (path.empty() || path.back() != '/') path += '/';
  path += name;
  return path;
}

// A folder or account that a link of some row names.
struct LinkedObject {
  std::string title;
  bool listsNotes = false;          // not marked for deletion (a NULL mark counts as marked), not the trash
  std::optional<int64_t> links[4];  // zowner, zaccount4, zaccount7, zfolder: where an account may be
  std::string name;
};

// The names of the accounts among a note's six links: note.zaccount4,
// note.zaccount7, then the folder's four.
struct LinkedAccounts {
  const std::string* names[6];
  size_t count = 0;
};

// As a join on any of the links gives them: each distinct account that exists
// once, by key (SQLite reads the links as a list of keys).
LinkedAccounts linkedAccounts(const std::unordered_map<int64_t, LinkedObject>& objects,
                              const std::optional<int64_t> (&links)[6]) {
  LinkedAccounts found;
  int64_t keys[6];
  for (const auto& link : links) {
    if (!link) continue;
    const auto account = objects.find(*link);
    if (account == objects.end()) continue;
    size_t at = 0;
    while (at < found.count && keys[at] < *link) ++at;
    if (at < found.count && keys[at] == *link) continue;
    std::move_backward(keys + at, keys + found.count, keys + found.count + 1);
    std::move_backward(found.names + at, found.names + found.count, found.names + found.count + 1);
    keys[at] = *link;
    found.names[at] = &account->second.name;
    ++found.count;
  }
  return found;
}

// "file:" URI of a path, with the characters that URIs give a meaning escaped.
std::string fileURI(const std::string& path) {
  std::string uri = path.starts_with('/') ? "file://" : "file:";
  for (const char c : path) {
    if (c == '%' || c == '?' || c == '#') {
      static constexpr char kHex[] = "0123456789ABCDEF";
      uri += '%';
      uri += kHex[static_cast<unsigned char>(c) >> 4];
      uri += kHex[static_cast<unsigned char>(c) & 0xF];
    } else {
      uri += c;
    }
  }
  return uri;
}

// Reads the schema, which is where a WAL database first needs its -shm: the
// failure to create one shows here, not at sqlite3_open_v2.
int probe(sqlite3* handle) {
  sqlite3_stmt* statement = nullptr;
  int result = sqlite3_prepare_v2(handle, "SELECT 1 FROM sqlite_master LIMIT 1", -1, &statement, nullptr);
  if (result == SQLITE_OK) {
    result = sqlite3_step(statement);
    if (result == SQLITE_ROW || result == SQLITE_DONE) result = SQLITE_OK;
  }
  sqlite3_finalize(statement);
  return result;
}

}  // namespace

internal::OpenNotesDatabase::OpenNotesDatabase(sqlite3* handle, NotesDatabaseGrant* grant,
                                               std::string scopedPath)
    : handle_(handle), grant_(grant), scopedPath_(std::move(scopedPath)) {}

internal::OpenNotesDatabase::OpenNotesDatabase(OpenNotesDatabase&& other) noexcept
    : handle_(std::exchange(other.handle_, nullptr)),
      grant_(std::exchange(other.grant_, nullptr)),
      scopedPath_(std::move(other.scopedPath_)) {}

internal::OpenNotesDatabase::~OpenNotesDatabase() {
  // Close first, then end the access scope that let us open the file.
  if (handle_ != nullptr) sqlite3_close(handle_);
  if (grant_ != nullptr) grant_->stopAccessing(scopedPath_);
}

NotesDatabaseAccess::NotesDatabaseAccess(NotesDatabaseGrant& grant, core::FileSystem& fileSystem,
                                         std::string homeDirectory)
    : grant_(grant), fileSystem_(fileSystem), homeDirectory_(std::move(homeDirectory)) {}

NotesDatabaseAccess::~NotesDatabaseAccess() = default;

const std::string& NotesDatabaseAccess::groupContainerPath() const {
  std::call_once(pathsOnce_, [this] {
    groupContainerPath_ = joinPath(homeDirectory_, kNotesGroupContainerSubpath);
    defaultDatabasePath_ = joinPath(groupContainerPath_, kNotesDatabaseFileName);
  });
  return groupContainerPath_;
}

const std::string& NotesDatabaseAccess::defaultDatabasePath() const {
  groupContainerPath();
  return defaultDatabasePath_;
}

NotesDatabaseAccess::ResolvedLocation NotesDatabaseAccess::resolveLocation() const {
  ResolvedLocation location;
  location.grantedPath = grant_.resolveGrantedPath();
  if (!location.grantedPath) {
    location.path = defaultDatabasePath();
  } else if (lastPathComponent(*location.grantedPath) == kNotesDatabaseFileName) {
    location.path = *location.grantedPath;
  } else if (fileSystem_.fileExists(*location.grantedPath) &&
             !fileSystem_.isDirectory(*location.grantedPath)) {
    // A configured copy of the library may have any file name.
    location.path = *location.grantedPath;
  } else {
    location.path = joinPath(*location.grantedPath, kNotesDatabaseFileName);
  }
  return location;
}

std::string NotesDatabaseAccess::resolveDatabasePath() const { return resolveLocation().path; }

std::optional<NotesDatabaseAccess::OpenDatabase> NotesDatabaseAccess::openDatabase() {
  const ResolvedLocation location = resolveLocation();
  NotesDatabaseGrant* scope = nullptr;
  if (location.grantedPath && grant_.startAccessing(*location.grantedPath)) scope = &grant_;
  // From here the handle and the scope are released on every path by `open`.
  OpenDatabase open(nullptr, scope, location.grantedPath.value_or(""));

  if (!fileSystem_.fileExists(location.path)) {
    if (const auto folder = fileSystem_.unsearchableFolderOnPath(location.path)) {
      kLog.error() << "No search permission on " << core::Private(*folder);
      throw NotesDatabaseError(NotesDatabaseError::folderUnreadable(*folder));
    }
    kLog.info() << "No Notes database at " << core::Private(location.path);
    return std::nullopt;
  }
  sqlite3* handle = nullptr;
  int result = sqlite3_open_v2(location.path.c_str(), &handle, SQLITE_OPEN_READONLY, vfs());
  open.adopt(handle);
  if (result == SQLITE_OK) result = probe(handle);
  const int primary = (handle != nullptr ? sqlite3_extended_errcode(handle) : result) & 0xFF;
  if (result != SQLITE_OK && (primary == SQLITE_CANTOPEN || primary == SQLITE_READONLY) &&
      !fileSystem_.fileExists(location.path + "-shm")) {
    // A WAL database needs its -shm beside the file, and SQLite could not create
    // one: the folder is read-only media or one we may not write. Then, and only
    // then, read it as immutable: SQLite takes no locks and ignores the -wal.
    // That is safe here because no -shm exists, so no connection is using the WAL
    // now (every one keeps the -shm while open), and we never write. What remains
    // is a writer that starts while we read, which only someone who can write
    // this folder could be (never on read-only media); at worst a statement then
    // sees pages of two states: a "malformed" error or a stale row, never a
    // write. What is lost are the changes still only in the -wal; the user is told.
    kLog.warning() << "Cannot create the -shm of the Notes database (SQLite " << result
                   << "); reading it as immutable";
    sqlite3_close(handle);
    open.adopt(nullptr);
    handle = nullptr;
    const std::string uri = fileURI(location.path) + "?immutable=1";
    result = sqlite3_open_v2(uri.c_str(), &handle, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, vfs());
    open.adopt(handle);
    if (result == SQLITE_OK) result = probe(handle);
    if (result == SQLITE_OK && fileSystem_.fileExists(location.path + "-wal") && warn_) {
      std::call_once(walWarningOnce_, [this] { warn_(kUnreadWalWarning); });
    }
  }
  if (result != SQLITE_OK || handle == nullptr) {
    const std::string message = handle == nullptr ? NotesDatabaseError::kAuthorizationDenied
                                                  : internal::connectionErrorMessage(handle);
    kLog.error() << "Could not open the Notes database (SQLite " << result << "): " << message;
    throw NotesDatabaseError(message);
  }
  return open;
}

bool NotesDatabaseAccess::canOpenDatabase(const std::string& path) const {
  if (!fileSystem_.fileExists(path)) return false;
  sqlite3* handle = nullptr;
  const int result = sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READONLY, vfs());
  sqlite3_close(handle);
  return result == SQLITE_OK;
}

std::set<std::string> NotesDatabaseAccess::tableColumns(NotesDatabaseConnection& connection,
                                                        std::string_view table) {
  SqliteStatement statement(connection.handle(), statements::tableColumns(table));
  std::set<std::string> columns;
  while (statement.step()) columns.insert(statement.textColumn(0));
  return columns;
}

void NotesDatabaseAccess::executeStatement(NotesDatabaseConnection& connection, const std::string& sql) {
  if (sqlite3_exec(connection.handle(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw NotesDatabaseError(internal::connectionErrorMessage(connection.handle()));
  }
}

bool NotesDatabaseAccess::hasNoteDataTable(NotesDatabaseConnection& connection) {
  SqliteStatement statement(connection.handle(), std::string(statements::kNoteDataTableCheck));
  return statement.step();
}

std::optional<std::string> NotesDatabaseAccess::fetchStoreUUID(NotesDatabaseConnection& connection) {
  SqliteStatement statement(connection.handle(), std::string(statements::kStoreUUID));
  if (!statement.step()) return std::nullopt;
  return statement.textColumn(0);
}

namespace {

// Runs the statement `sql(count)` for `count` bound keys over `keys`,
// kNoteBodiesChunkSize keys at a time, handing each row to `row`; stops with
// core::CancellationError when `stop` is requested before a chunk.
void stepByKeyChunks(NotesDatabaseConnection& connection, const std::vector<int64_t>& keys,
                     std::stop_token stop, std::string (*sql)(size_t count),
                     const std::function<void(SqliteStatement&)>& row) {
  for (size_t start = 0; start < keys.size(); start += kNoteBodiesChunkSize) {
    if (stop.stop_requested()) throw core::CancellationError();
    const size_t count = std::min(kNoteBodiesChunkSize, keys.size() - start);
    SqliteStatement statement(connection.handle(), sql(count));
    for (size_t i = 0; i < count; ++i) statement.bindInt64(static_cast<int>(i + 1), keys[start + i]);
    while (statement.step()) row(statement);
  }
}

}  // namespace

std::unordered_map<int64_t, NotesBodyBlob> NotesDatabaseAccess::fetchNoteBodies(
    NotesDatabaseConnection& connection, const std::vector<int64_t>& keys, std::stop_token stop) {
  std::unordered_map<int64_t, NotesBodyBlob> bodies;
  if (keys.empty()) return bodies;
  if (!hasNoteDataTable(connection)) return bodies;
  bodies.reserve(keys.size());
  stepByKeyChunks(connection, keys, stop, statements::noteBodiesByKey, [&](SqliteStatement& statement) {
    if (statement.int64Column(2) != 0) {
      bodies[statement.int64Column(0)] = {{}, true};
    } else if (auto blob = statement.blobColumn(1)) {
      bodies[statement.int64Column(0)] = {std::move(*blob), false};
    }
  });
  return bodies;
}

std::unordered_map<int64_t, std::string> NotesDatabaseAccess::fetchNotePreviews(
    NotesDatabaseConnection& connection, const std::vector<int64_t>& keys, std::stop_token stop) {
  std::unordered_map<int64_t, std::string> previews;
  previews.reserve(keys.size());
  stepByKeyChunks(connection, keys, stop, statements::notePreviewsByKey, [&](SqliteStatement& statement) {
    previews[statement.int64Column(0)] = statement.textColumn(1);
  });
  return previews;
}

std::vector<NotesFolderRow> NotesDatabaseAccess::fetchFolderTree(NotesDatabaseConnection& connection) {
  SqliteStatement statement(connection.handle(), statements::folderTree(connection.schema()));
  std::vector<NotesFolderRow> folders;
  while (statement.step()) {
    folders.push_back({statement.textColumn(0), statement.textColumn(1), statement.textColumn(2),
                       statement.textColumn(3), statement.timeColumn(4)});
  }
  return folders;
}

std::vector<NotesNoteRow> NotesDatabaseAccess::fetchNoteList(NotesDatabaseConnection& connection) {
  std::vector<NotesNoteRow> notes;
  forEachNote(connection, std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max(),
              [&](NotesNoteRow& note) { notes.push_back(std::move(note)); });
  return notes;
}

void NotesDatabaseAccess::forEachNote(NotesDatabaseConnection& connection, int64_t firstKey, int64_t lastKey,
                                      const std::function<void(NotesNoteRow&)>& each) {
  SqliteStatement statement(connection.handle(), statements::noteList(connection.schema()));
  statement.bindInt64(1, firstKey);
  statement.bindInt64(2, lastKey);
  NotesNoteRow note;
  while (statement.step()) {
    note.id = statement.textColumn(0);
    note.uuid = statement.textColumn(1);
    note.title = statement.textColumn(2);
    note.folderID = statement.textColumn(3);
    note.accountName = statement.textColumn(4);
    note.folderName = statement.textColumn(5);
    note.preview = statement.textColumn(6);
    note.noteDataPK = statement.optionalInt64Column(7);
    note.isPasswordProtected = statement.int64Column(8);
    note.createdAt = statement.timeColumn(9);
    // The statement selects only notes with a modification date, which may still be no valid time.
    note.modifiedAt = statement.timeColumn(10);
    each(note);
  }
}

void NotesDatabaseAccess::forEachNoteWithoutJoins(NotesDatabaseConnection& connection, int64_t firstKey,
                                                  int64_t lastKey,
                                                  const std::function<void(NotesNoteRow&)>& each) {
  std::unordered_map<int64_t, LinkedObject> objects;
  {
    SqliteStatement statement(connection.handle(), statements::linkedObjects(connection.schema()));
    while (statement.step()) {
      LinkedObject& object = objects[statement.int64Column(0)];
      object.title = statement.textColumn(1);
      object.listsNotes =
          !statement.isNull(2) && statement.int64Column(2) != 1 && statement.int64Column(3) != 1;
      for (int i = 0; i < 4; ++i) object.links[i] = statement.optionalInt64Column(4 + i);
      object.name = statement.textColumn(8);
    }
  }
  const std::string store = fetchStoreUUID(connection).value_or("");
  SqliteStatement statement(connection.handle(), statements::noteListWithoutJoins(connection.schema()));
  statement.bindInt64(1, firstKey);
  statement.bindInt64(2, lastKey);
  NotesNoteRow note;
  while (statement.step()) {
    const auto folder = objects.find(statement.int64Column(3));
    if (folder == objects.end() || !folder->second.listsNotes) continue;
    note.id = NotesObjectIdentifier{store, NotesObjectKind::kNote, statement.int64Column(0)}.format();
    note.uuid = statement.textColumn(1);
    note.title = statement.textColumn(2);
    note.folderID = NotesObjectIdentifier{store, NotesObjectKind::kFolder, folder->first}.format();
    note.folderName = folder->second.title;
    note.preview = statement.textColumn(4);
    note.noteDataPK = statement.optionalInt64Column(5);
    note.isPasswordProtected = statement.int64Column(6);
    note.createdAt = statement.timeColumn(7);
    note.modifiedAt = statement.timeColumn(8);
    const LinkedAccounts found =
        linkedAccounts(objects, {statement.optionalInt64Column(9), statement.optionalInt64Column(10),
                                 folder->second.links[0], folder->second.links[1], folder->second.links[2],
                                 folder->second.links[3]});
    const size_t accounts = found.count;
    if (accounts == 0) {
      note.accountName.clear();
      each(note);
      continue;
    }
    for (size_t i = 0; i < accounts; ++i) {
      note.accountName = *found.names[i];
      // `each` may take the strings: every row but the last gets a copy.
      if (i + 1 == accounts) {
        each(note);
      } else {
        NotesNoteRow copy = note;
        each(copy);
      }
    }
  }
}

void NotesDatabaseAccess::readNoteListInTwoParts(NotesDatabaseConnection& connection, double firstShare,
                                                 const NoteListPartReader& readPart) {
  int64_t first = 0, last = 0, objects = 0;
  {
    SqliteStatement bounds(connection.handle(), std::string(statements::kObjectKeyBounds));
    if (!bounds.step() || bounds.isNull(0) || bounds.isNull(1)) return;
    first = bounds.int64Column(0);
    last = bounds.int64Column(1);
    objects = bounds.int64Column(2);
  }
  // Unsigned, so that keys far apart cannot overflow.
  const uint64_t span = static_cast<uint64_t>(last) - static_cast<uint64_t>(first);
  const auto split = static_cast<int64_t>(static_cast<uint64_t>(first) +
                                          static_cast<uint64_t>(static_cast<long double>(span) * firstShare));
  const NoteListPart parts[] = {{0, first, std::min(split, last), objects}, {1, split + 1, last, objects}};
  if (split >= last) {
    readPart(connection, parts[0]);
    return;
  }
  bool secondRead = false;
  std::exception_ptr error;
  {
    std::jthread second([&] {
      try {
        secondRead = withDatabase([&](NotesDatabaseConnection& own) {
                       readPart(own, parts[1]);
                       return true;
                     }).value_or(false);
      } catch (...) {
        error = std::current_exception();
      }
    });
    readPart(connection, parts[0]);
  }
  if (error) std::rethrow_exception(error);
  if (!secondRead) readPart(connection, parts[1]);
}

std::optional<NotesNoteBodyRow> NotesDatabaseAccess::fetchNote(NotesDatabaseConnection& connection,
                                                               int64_t notePK) {
  SqliteStatement statement(connection.handle(), statements::noteByKey());
  statement.bindInt64(1, notePK);
  if (!statement.step()) return std::nullopt;
  return NotesNoteBodyRow{statement.int64Column(0), statement.textColumn(1), statement.textColumn(2),
                          statement.blobColumn(3), statement.int64Column(4) != 0};
}

std::unordered_map<std::string, std::string> NotesDatabaseAccess::fetchInlineAttachmentTexts(
    NotesDatabaseConnection& connection, int64_t notePK) {
  std::unordered_map<std::string, std::string> texts;
  if (!connection.schema().has("zalttext")) return texts;
  SqliteStatement statement(connection.handle(), statements::inlineAttachmentTexts());
  statement.bindInt64(1, notePK);
  while (statement.step()) texts.emplace(statement.textColumn(0), statement.textColumn(1));
  return texts;
}

NotesDatabaseAccess::AttachmentHolders NotesDatabaseAccess::fetchAttachmentHolders(
    NotesDatabaseConnection& connection) {
  AttachmentHolders holders;
  auto collect = [&](const std::string& sql, std::unordered_set<int64_t>& into) {
    SqliteStatement statement(connection.handle(), sql);
    while (statement.step()) into.insert(statement.int64Column(0));
  };
  collect(statements::notesWithTables(), holders.withTables);
  if (connection.schema().has("zalttext")) {
    collect(statements::notesWithInlineAttachmentTexts(), holders.withInlineTexts);
  }
  return holders;
}

bool NotesDatabaseAccess::isPasswordProtected(NotesDatabaseConnection& connection, int64_t notePK) {
  SqliteStatement statement(connection.handle(), statements::passwordProtection());
  statement.bindInt64(1, notePK);
  return statement.step() && statement.int64Column(0) != 0;
}

std::vector<NotesTableDataRow> NotesDatabaseAccess::fetchTableRows(NotesDatabaseConnection& connection,
                                                                   int64_t notePK) {
  SqliteStatement statement(connection.handle(), statements::tablesOfNote());
  statement.bindInt64(1, notePK);
  std::vector<NotesTableDataRow> rows;
  while (statement.step()) {
    rows.push_back({statement.textColumn(0), statement.blobColumn(1), statement.blobColumn(2)});
  }
  return rows;
}

std::unordered_map<std::string, std::string> NotesDatabaseAccess::fetchTableData(
    NotesDatabaseConnection& connection, int64_t notePK,
    const std::unordered_set<std::string>& tableIdentifiers) {
  std::unordered_map<std::string, std::string> tables;
  if (tableIdentifiers.empty()) return tables;
  for (NotesTableDataRow& row : fetchTableRows(connection, notePK)) {
    if (row.identifier.empty() || tableIdentifiers.count(row.identifier) == 0) continue;
    std::optional<std::string>& data = row.mergeableData1 ? row.mergeableData1 : row.mergeableData;
    if (!data) continue;
    tables.emplace(row.identifier, std::move(*data));
  }
  return tables;
}

std::vector<NotesFolderNoteRow> NotesDatabaseAccess::fetchFolderNotesWithBodies(
    NotesDatabaseConnection& connection, NamedFolderSet set) {
  SqliteStatement statement(connection.handle(), statements::folderNotesWithBodies(connection.schema(), set));
  std::vector<NotesFolderNoteRow> rows;
  while (statement.step()) {
    rows.push_back({statement.textColumn(0), statement.textColumn(1), statement.textColumn(2),
                    statement.textColumn(3), statement.textColumn(4), statement.textColumn(5),
                    statement.timeColumn(6), statement.textColumn(7), statement.blobColumn(8)});
  }
  return rows;
}

std::vector<NotesFolderNoteSummaryRow> NotesDatabaseAccess::fetchFolderNotesWithoutBodies(
    NotesDatabaseConnection& connection, NamedFolderSet set) {
  SqliteStatement statement(connection.handle(),
                            statements::folderNotesWithoutBodies(connection.schema(), set));
  std::vector<NotesFolderNoteSummaryRow> rows;
  while (statement.step()) {
    rows.push_back({statement.textColumn(0), statement.textColumn(1), statement.textColumn(2),
                    statement.textColumn(3), statement.textColumn(4), statement.timeColumn(5)});
  }
  return rows;
}

std::vector<NotesLinkAttachmentRow> NotesDatabaseAccess::fetchLinkAttachments(
    NotesDatabaseConnection& connection) {
  int parameterCount = 0;
  SqliteStatement statement(connection.handle(),
                            statements::linkAttachments(connection.schema(), &parameterCount));
  for (int position = 1; position <= parameterCount; ++position) {
    statement.bindText(position, kLinkTypeIdentifier);
  }
  std::vector<NotesLinkAttachmentRow> rows;
  while (statement.step()) {
    rows.push_back({statement.optionalInt64Column(0), statement.textColumn(1), statement.textColumn(2),
                    statement.optionalInt64Column(3), statement.textColumn(4), statement.textColumn(5),
                    statement.textColumn(6), statement.int64Column(7)});
  }
  return rows;
}

std::vector<NotesLinkTargetRow> NotesDatabaseAccess::fetchLinkTargets(NotesDatabaseConnection& connection) {
  SqliteStatement statement(connection.handle(), statements::linkTargets(connection.schema()));
  std::vector<NotesLinkTargetRow> rows;
  while (statement.step()) {
    rows.push_back({statement.int64Column(0), statement.textColumn(1), statement.textColumn(2),
                    statement.textColumn(3), statement.optionalTextColumn(4)});
  }
  return rows;
}

void NotesDatabaseAccess::forEachCandidateBody(NotesDatabaseConnection& connection,
                                               const std::function<void(NotesCandidateBodyRow)>& visit) {
  SqliteStatement statement(connection.handle(), statements::candidateBodies());
  while (statement.step()) {
    visit({statement.int64Column(0), statement.blobColumn(1), statement.int64Column(2) != 0});
  }
}

const NotesSchema& NotesDatabaseConnection::schema() {
  if (!schema_) {
    NotesSchema schema;
    schema.objectColumns = NotesDatabaseAccess::tableColumns(*this, "ZICCLOUDSYNCINGOBJECT");
    schema.hasNoteDataTable = NotesDatabaseAccess::hasNoteDataTable(*this);
    schema_ = std::move(schema);
  }
  return *schema_;
}

}  // namespace zephyl::notes_store
