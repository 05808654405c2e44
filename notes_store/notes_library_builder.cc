#include "notes_store/notes_library_builder.h"

#include <sqlite3.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

namespace zephyl::notes_store {
namespace {

namespace fs = std::filesystem;

// The columns of ZICCLOUDSYNCINGOBJECT exactly as Notes on macOS 15 declares them,
// in their order. The schema options drop some of them to make older libraries.
// clang-format off
constexpr std::string_view kObjectColumnDefinitions[] = {
    "Z_PK INTEGER PRIMARY KEY", "Z_ENT INTEGER", "Z_OPT INTEGER", "ZCRYPTOITERATIONCOUNT INTEGER",
    "ZHASMISSINGKEYCHAINITEM INTEGER", "ZISPASSWORDPROTECTED INTEGER", "ZISSHAREDIRTY INTEGER",
    "ZMARKEDFORDELETION INTEGER", "ZMINIMUMSUPPORTEDNOTESVERSION INTEGER",
    "ZNEEDSINITIALFETCHFROMCLOUD INTEGER", "ZNEEDSTOBEFETCHEDFROMCLOUD INTEGER",
    "ZNEEDSTOSAVEUSERSPECIFICRECORD INTEGER", "ZCLOUDSTATE INTEGER", "ZINVITATION INTEGER",
    "ZLOCKEDNOTESMODE INTEGER", "ZSUPPORTSV1NEO INTEGER", "ZACCOUNT INTEGER", "ZCHECKEDFORLOCATION INTEGER",
    "ZDIDRUNPAPERFORMDETECTION INTEGER", "ZFILESIZE INTEGER", "ZHANDWRITINGSUMMARYVERSION INTEGER",
    "ZHASMARKUPDATA INTEGER", "ZHASPAPERFORM INTEGER", "ZIMAGECLASSIFICATIONSUMMARYVERSION INTEGER",
    "ZIMAGEFILTERTYPE INTEGER", "ZNEEDSINITIALRELATIONSHIPSETUP INTEGER", "ZNEEDSTRANSCRIPTION INTEGER",
    "ZOCRSUMMARYVERSION INTEGER", "ZORIENTATION INTEGER", "ZSECTION INTEGER", "ZURLEXPIRED INTEGER",
    "ZACCOUNT1 INTEGER", "ZLOCATION INTEGER", "ZMEDIA INTEGER", "ZNOTE INTEGER",
    "ZNOTEUSINGTITLEFORNOTETITLE INTEGER", "ZPARENTATTACHMENT INTEGER", "ZAPPEARANCETYPE INTEGER",
    "ZSCALEWHENDRAWING INTEGER", "ZVERSION INTEGER", "ZVERSIONOUTOFDATE INTEGER", "ZATTACHMENT INTEGER",
    "ZSTATE INTEGER", "ZACCOUNT2 INTEGER", "ZACCOUNT3 INTEGER", "ZMENTIONNOTIFICATIONATTEMPTCOUNT INTEGER",
    "ZMENTIONNOTIFICATIONSTATE INTEGER", "ZACCOUNT4 INTEGER", "ZNOTE1 INTEGER",
    "ZPARENTATTACHMENT1 INTEGER", "ZTYPE INTEGER", "ZACCOUNT5 INTEGER", "ZACCOUNT6 INTEGER",
    "ZATTACHMENT1 INTEGER", "ZATTACHMENTVIEWTYPE INTEGER", "ZHASCHECKLIST INTEGER",
    "ZHASCHECKLISTINPROGRESS INTEGER", "ZHASEMPHASIS INTEGER", "ZHASSYSTEMTEXTATTACHMENTS INTEGER",
    "ZISPINNED INTEGER", "ZISSYSTEMPAPER INTEGER", "ZLEGACYNOTEWASPLAINTEXT INTEGER",
    "ZNOTEHASCHANGES INTEGER", "ZPAPERSTYLETYPE INTEGER", "ZPREFERREDBACKGROUNDTYPE INTEGER",
    "ZACCOUNT7 INTEGER", "ZFOLDER INTEGER", "ZNOTEDATA INTEGER", "ZTITLESOURCEATTACHMENT INTEGER",
    "ZDATEHEADERSTYPE INTEGER", "ZISHIDDENNOTECONTAINER INTEGER", "ZSORTORDER INTEGER", "ZOWNER INTEGER",
    "ZACCOUNTTYPE INTEGER", "ZDIDCHOOSETOMIGRATE INTEGER", "ZDIDFINISHMIGRATION INTEGER",
    "ZDIDMIGRATEONMAC INTEGER", "ZSERVERSIDEUPDATETASKFAILURECOUNT INTEGER", "ZSTOREDATASEPARATELY INTEGER",
    "ZACCOUNTDATA INTEGER", "ZCUSTOMNOTESORTTYPEVALUE INTEGER", "ZFOLDERTYPE INTEGER",
    "ZIMPORTEDFROMLEGACY INTEGER", "ZACCOUNT8 INTEGER", "ZPARENT INTEGER", "ZCREATIONDATE TIMESTAMP",
    "ZCROPPINGQUADBOTTOMLEFTX FLOAT", "ZCROPPINGQUADBOTTOMLEFTY FLOAT", "ZCROPPINGQUADBOTTOMRIGHTX FLOAT",
    "ZCROPPINGQUADBOTTOMRIGHTY FLOAT", "ZCROPPINGQUADTOPLEFTX FLOAT", "ZCROPPINGQUADTOPLEFTY FLOAT",
    "ZCROPPINGQUADTOPRIGHTX FLOAT", "ZCROPPINGQUADTOPRIGHTY FLOAT", "ZDURATION FLOAT",
    "ZMODIFICATIONDATE TIMESTAMP", "ZORIGINX FLOAT", "ZORIGINY FLOAT", "ZPREVIEWUPDATEDATE TIMESTAMP",
    "ZSIZEHEIGHT FLOAT", "ZSIZEWIDTH FLOAT", "ZHEIGHT FLOAT", "ZMODIFIEDDATE TIMESTAMP", "ZSCALE FLOAT",
    "ZWIDTH FLOAT", "ZSTATEMODIFICATIONDATE TIMESTAMP", "ZCREATIONDATE1 TIMESTAMP",
    "ZCREATIONDATE2 TIMESTAMP", "ZMODIFICATIONDATEATIMPORT TIMESTAMP", "ZCREATIONDATE3 TIMESTAMP",
    "ZFOLDERMODIFICATIONDATE TIMESTAMP", "ZLASTACTIVITYRECENTUPDATESVIEWEDDATE TIMESTAMP",
    "ZLASTACTIVITYSUMMARYVIEWEDDATE TIMESTAMP", "ZLASTATTRIBUTIONSVIEWEDDATE TIMESTAMP",
    "ZLASTNOTIFIEDDATE TIMESTAMP", "ZLASTOPENEDDATE TIMESTAMP", "ZLASTVIEWEDMODIFICATIONDATE TIMESTAMP",
    "ZLEGACYMODIFICATIONDATEATIMPORT TIMESTAMP", "ZMODIFICATIONDATE1 TIMESTAMP", "ZLASTSYNCDATE TIMESTAMP",
    "ZCUSTOMNOTESORTTYPEMODIFICATIONDATE TIMESTAMP", "ZDATEFORLASTTITLEMODIFICATION TIMESTAMP",
    "ZPARENTMODIFICATIONDATE TIMESTAMP", "ZIDENTIFIER VARCHAR", "ZPASSWORDHINT VARCHAR",
    "ZZONEOWNERNAME VARCHAR", "ZADDITIONALINDEXABLETEXT VARCHAR", "ZFALLBACKIMAGEGENERATION VARCHAR",
    "ZFALLBACKPDFGENERATION VARCHAR", "ZFALLBACKSUBTITLEIOS VARCHAR", "ZFALLBACKSUBTITLEMAC VARCHAR",
    "ZFALLBACKTITLE VARCHAR", "ZHANDWRITINGSUMMARY VARCHAR", "ZIMAGECLASSIFICATIONSUMMARY VARCHAR",
    "ZOCRSUMMARY VARCHAR", "ZPAPERBUNDLEGENERATION VARCHAR", "ZREMOTEFILEURLSTRING VARCHAR",
    "ZSUMMARY VARCHAR", "ZTITLE VARCHAR", "ZTYPEUTI VARCHAR", "ZURLSTRING VARCHAR", "ZUSERTITLE VARCHAR",
    "ZGENERATION VARCHAR", "ZDEVICEIDENTIFIER VARCHAR", "ZDISPLAYTEXT VARCHAR",
    "ZSTANDARDIZEDCONTENT VARCHAR", "ZALTTEXT VARCHAR", "ZTOKENCONTENTIDENTIFIER VARCHAR",
    "ZTYPEUTI1 VARCHAR", "ZCONTENTHASHATIMPORT VARCHAR", "ZFILENAME VARCHAR", "ZGENERATION1 VARCHAR",
    "ZHOSTAPPLICATIONIDENTIFIER VARCHAR", "ZLEGACYCONTENTHASHATIMPORT VARCHAR",
    "ZLEGACYIMPORTDEVICEIDENTIFIER VARCHAR", "ZLEGACYMANAGEDOBJECTIDURIREPRESENTATION VARCHAR",
    "ZSELECTEDINKCOLORSTRING VARCHAR", "ZSELECTEDINKIDENTIFIER VARCHAR", "ZSNIPPET VARCHAR",
    "ZTHUMBNAILATTACHMENTIDENTIFIER VARCHAR", "ZTITLE1 VARCHAR", "ZWIDGETSNIPPET VARCHAR",
    "ZACCOUNTNAMEFORACCOUNTLISTSORTING VARCHAR", "ZNESTEDTITLEFORSORTING VARCHAR", "ZNAME VARCHAR",
    "ZSERVERSIDEUPDATETASKLASTATTEMPTEDBUILD VARCHAR", "ZSERVERSIDEUPDATETASKLASTATTEMPTEDVERSION VARCHAR",
    "ZSERVERSIDEUPDATETASKLASTCOMPLETEDBUILD VARCHAR", "ZSERVERSIDEUPDATETASKLASTCOMPLETEDVERSION VARCHAR",
    "ZUSERRECORDNAME VARCHAR", "ZSMARTFOLDERQUERYJSON VARCHAR", "ZTITLE2 VARCHAR",
    "ZATTRIBUTEDSNIPPET BLOB", "ZATTRIBUTEDTITLE BLOB", "ZREPLICAIDTOBUNDLEIDENTIFIER BLOB",
    "ZACTIVITYEVENTSDATA BLOB", "ZASSETCRYPTOINITIALIZATIONVECTOR BLOB", "ZASSETCRYPTOTAG BLOB",
    "ZCRYPTOINITIALIZATIONVECTOR BLOB", "ZCRYPTOSALT BLOB", "ZCRYPTOTAG BLOB", "ZCRYPTOWRAPPEDKEY BLOB",
    "ZENCRYPTEDVALUESJSON BLOB", "ZREPLICAIDTONOTESVERSIONDATA BLOB", "ZSERVERRECORDDATA BLOB",
    "ZSERVERSHAREDATA BLOB", "ZUNAPPLIEDENCRYPTEDRECORDDATA BLOB", "ZUSERSPECIFICSERVERRECORDDATA BLOB",
    "ZCRYPTOPASSPHRASEVERIFIER BLOB", "ZMERGEABLEDATA BLOB",
    "ZFALLBACKIMAGECRYPTOINITIALIZATIONVECTOR BLOB", "ZFALLBACKIMAGECRYPTOTAG BLOB",
    "ZFALLBACKPDFCRYPTOINITIALIZATIONVECTOR BLOB", "ZFALLBACKPDFCRYPTOTAG BLOB",
    "ZLINKPRESENTATIONARCHIVEDMETADATA BLOB", "ZMARKUPMODELDATA BLOB", "ZMERGEABLEDATA1 BLOB",
    "ZMERGEABLEPREFERREDVIEWSIZE BLOB", "ZMETADATADATA BLOB", "ZSYNAPSEDATA BLOB",
    "ZTEMPORARYTRANSCRIPTDATA BLOB", "ZCRYPTOMETADATAINITIALIZATIONVECTOR BLOB", "ZCRYPTOMETADATATAG BLOB",
    "ZENCRYPTEDMETADATA BLOB", "ZMETADATA BLOB", "ZLASTNOTIFIEDTIMESTAMPDATA BLOB",
    "ZLASTVIEWEDTIMESTAMPDATA BLOB", "ZOUTLINESTATEDATA BLOB", "ZREPLICAIDTOUSERIDDICTDATA BLOB",
    "ZCRYPTOVERIFIER BLOB", "ZSERVERSIDEUPDATETASKCONTINUATIONTOKEN BLOB", "ZMERGEABLEDATA2 BLOB",
};
// clang-format on

struct IndexDefinition {
  std::string_view column;
  std::string_view statement;
};

constexpr IndexDefinition kObjectIndexes[] = {
    {"ZCLOUDSTATE",
     "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZCLOUDSTATE_INDEX ON ZICCLOUDSYNCINGOBJECT (ZCLOUDSTATE)"},
    {"ZINVITATION",
     "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZINVITATION_INDEX ON ZICCLOUDSYNCINGOBJECT (ZINVITATION)"},
    {"ZACCOUNT", "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZACCOUNT_INDEX ON ZICCLOUDSYNCINGOBJECT (ZACCOUNT)"},
    {"ZACCOUNT1", "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZACCOUNT1_INDEX ON ZICCLOUDSYNCINGOBJECT (ZACCOUNT1)"},
    {"ZLOCATION", "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZLOCATION_INDEX ON ZICCLOUDSYNCINGOBJECT (ZLOCATION)"},
    {"ZMEDIA", "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZMEDIA_INDEX ON ZICCLOUDSYNCINGOBJECT (ZMEDIA)"},
    {"ZNOTE", "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZNOTE_INDEX ON ZICCLOUDSYNCINGOBJECT (ZNOTE)"},
    {"ZNOTEUSINGTITLEFORNOTETITLE",
     "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZNOTEUSINGTITLEFORNOTETITLE_INDEX ON ZICCLOUDSYNCINGOBJECT "
     "(ZNOTEUSINGTITLEFORNOTETITLE)"},
    {"ZPARENTATTACHMENT",
     "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZPARENTATTACHMENT_INDEX ON ZICCLOUDSYNCINGOBJECT "
     "(ZPARENTATTACHMENT)"},
    {"ZATTACHMENT",
     "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZATTACHMENT_INDEX ON ZICCLOUDSYNCINGOBJECT (ZATTACHMENT)"},
    {"ZACCOUNT2", "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZACCOUNT2_INDEX ON ZICCLOUDSYNCINGOBJECT (ZACCOUNT2)"},
    {"ZACCOUNT3", "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZACCOUNT3_INDEX ON ZICCLOUDSYNCINGOBJECT (ZACCOUNT3)"},
    {"ZACCOUNT4", "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZACCOUNT4_INDEX ON ZICCLOUDSYNCINGOBJECT (ZACCOUNT4)"},
    {"ZNOTE1", "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZNOTE1_INDEX ON ZICCLOUDSYNCINGOBJECT (ZNOTE1)"},
    {"ZPARENTATTACHMENT1",
     "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZPARENTATTACHMENT1_INDEX ON ZICCLOUDSYNCINGOBJECT "
     "(ZPARENTATTACHMENT1)"},
    {"ZACCOUNT5", "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZACCOUNT5_INDEX ON ZICCLOUDSYNCINGOBJECT (ZACCOUNT5)"},
    {"ZACCOUNT6", "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZACCOUNT6_INDEX ON ZICCLOUDSYNCINGOBJECT (ZACCOUNT6)"},
    {"ZATTACHMENT1",
     "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZATTACHMENT1_INDEX ON ZICCLOUDSYNCINGOBJECT (ZATTACHMENT1)"},
    {"ZACCOUNT7", "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZACCOUNT7_INDEX ON ZICCLOUDSYNCINGOBJECT (ZACCOUNT7)"},
    {"ZFOLDER", "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZFOLDER_INDEX ON ZICCLOUDSYNCINGOBJECT (ZFOLDER)"},
    {"ZNOTEDATA", "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZNOTEDATA_INDEX ON ZICCLOUDSYNCINGOBJECT (ZNOTEDATA)"},
    {"ZTITLESOURCEATTACHMENT",
     "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZTITLESOURCEATTACHMENT_INDEX ON ZICCLOUDSYNCINGOBJECT "
     "(ZTITLESOURCEATTACHMENT)"},
    {"ZOWNER", "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZOWNER_INDEX ON ZICCLOUDSYNCINGOBJECT (ZOWNER)"},
    {"ZACCOUNTDATA",
     "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZACCOUNTDATA_INDEX ON ZICCLOUDSYNCINGOBJECT (ZACCOUNTDATA)"},
    {"ZACCOUNT8", "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZACCOUNT8_INDEX ON ZICCLOUDSYNCINGOBJECT (ZACCOUNT8)"},
    {"ZPARENT", "CREATE INDEX ZICCLOUDSYNCINGOBJECT_ZPARENT_INDEX ON ZICCLOUDSYNCINGOBJECT (ZPARENT)"},
    {"Z_ENT", "CREATE INDEX ZICCLOUDSYNCINGOBJECT_Z_ENT_INDEX ON ZICCLOUDSYNCINGOBJECT (Z_ENT)"},
    {"ZIDENTIFIER",
     "CREATE UNIQUE INDEX Z_ICCloudSyncingObject_UNIQUE_identifier ON ZICCLOUDSYNCINGOBJECT (ZIDENTIFIER "
     "COLLATE BINARY ASC)"},
};

constexpr std::string_view kNoteDataTable =
    "CREATE TABLE ZICNOTEDATA ( Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER, "
    "ZNOTE INTEGER, ZCRYPTOINITIALIZATIONVECTOR BLOB, ZCRYPTOTAG BLOB, ZDATA BLOB )";
constexpr std::string_view kNoteDataIndex = "CREATE INDEX ZICNOTEDATA_ZNOTE_INDEX ON ZICNOTEDATA (ZNOTE)";
constexpr std::string_view kMetadataTable =
    "CREATE TABLE Z_METADATA (Z_VERSION INTEGER PRIMARY KEY, Z_UUID VARCHAR(255), Z_PLIST BLOB)";
constexpr std::string_view kPrimaryKeyTable =
    "CREATE TABLE Z_PRIMARYKEY (Z_ENT INTEGER PRIMARY KEY, Z_NAME VARCHAR, Z_SUPER INTEGER, "
    "Z_MAX INTEGER)";

// Core Data's entity table as Notes on macOS 13 to 15 fills it: entity number,
// name and super-entity. Z_MAX is filled in at write time.
struct EntityDefinition {
  int entity;
  std::string_view name;
  int superEntity;
};

constexpr EntityDefinition kEntities[] = {
    {1, "ICCloudState", 0},
    {2, "ICCloudSyncingObject", 0},
    {3, "ICAccountData", 2},
    {4, "ICAttachment", 2},
    {5, "ICAttachmentPreviewImage", 2},
    {6, "ICDeviceMigrationState", 2},
    {7, "ICHashtag", 2},
    {8, "ICInlineAttachment", 2},
    {9, "ICLegacyTombstone", 2},
    {10, "ICMedia", 2},
    {11, "ICNote", 2},
    {12, "ICNoteContainer", 2},
    {13, "ICAccount", 12},
    {14, "ICFolder", 12},
    {15, "ICInvitation", 0},
    {16, "ICLocation", 0},
    {17, "ICAttachmentLocation", 16},
    {18, "ICNoteData", 0},
    {19, "ICNoteParticipant", 0},
    {20, "ICServerChangeToken", 0},
};

constexpr int kEntityObject = 2;
constexpr int kEntityAttachment = 4;
constexpr int kEntityInlineAttachment = 8;
constexpr int kEntityNote = 11;
constexpr int kEntityAccount = 13;
constexpr int kEntityFolder = 14;
constexpr int kEntityNoteData = 18;

constexpr std::string_view kLinkTypeUTI = "com.apple.notes.inlinetextattachment.link";

// The object columns that the builder fills; the others stay NULL.
enum class Column {
  kPK,
  kEntity,
  kOpt,
  kIdentifier,
  kName,
  kUserRecordName,
  kTitle1,
  kTitle2,
  kSnippet,
  kFolder,
  kParent,
  kOwner,
  kAccount4,
  kAccount7,
  kFolderType,
  kMarkedForDeletion,
  kPasswordProtected,
  kCreationDate3,
  kModificationDate1,
  kNoteData,
  kNote,
  kNote1,
  kTypeUTI,
  kTypeUTI1,
  kTokenContentIdentifier,
  kMergeableData,
  kMergeableData1,
};

constexpr std::string_view kColumnNames[] = {
    "Z_PK",
    "Z_ENT",
    "Z_OPT",
    "ZIDENTIFIER",
    "ZNAME",
    "ZUSERRECORDNAME",
    "ZTITLE1",
    "ZTITLE2",
    "ZSNIPPET",
    "ZFOLDER",
    "ZPARENT",
    "ZOWNER",
    "ZACCOUNT4",
    "ZACCOUNT7",
    "ZFOLDERTYPE",
    "ZMARKEDFORDELETION",
    "ZISPASSWORDPROTECTED",
    "ZCREATIONDATE3",
    "ZMODIFICATIONDATE1",
    "ZNOTEDATA",
    "ZNOTE",
    "ZNOTE1",
    "ZTYPEUTI",
    "ZTYPEUTI1",
    "ZTOKENCONTENTIDENTIFIER",
    "ZMERGEABLEDATA",
    "ZMERGEABLEDATA1",
};
constexpr size_t kColumnCount = std::size(kColumnNames);
static_assert(kColumnCount == static_cast<size_t>(Column::kMergeableData1) + 1,
              "one name for every Column, in the same order");

bool schemaHasColumn(const NotesSchemaOptions& schema, std::string_view column) {
  if (column == "ZACCOUNT7") return schema.hasAccount7Column;
  if (column == "ZTYPEUTI") return schema.hasTypeUtiColumn;
  if (column == "ZTYPEUTI1") return schema.hasTypeUti1Column;
  return true;
}

[[noreturn]] void throwWriteFailed(std::string detail) {
  throw NotesLibraryBuilderError(NotesLibraryBuilderError::Code::kWriteFailed, std::move(detail));
}

[[noreturn]] void throwSqliteFailure(sqlite3* db) {
  const char* message = db != nullptr ? sqlite3_errmsg(db) : nullptr;
  throwWriteFailed(message != nullptr ? message : "unknown SQLite error");
}

void execute(sqlite3* db, std::string_view sql) {
  if (sqlite3_exec(db, std::string(sql).c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    throwSqliteFailure(db);
  }
}

// A prepared INSERT that is reset and rebound for every row.
class Insert {
 public:
  Insert(sqlite3* db, const std::string& sql) : db_(db) {
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &statement_, nullptr) != SQLITE_OK) {
      throwSqliteFailure(db);
    }
  }
  Insert(const Insert&) = delete;
  Insert& operator=(const Insert&) = delete;
  ~Insert() { sqlite3_finalize(statement_); }

  // Positions count from 1; position 0 (a column the schema lacks) binds nothing.
  void bindInt(int position, std::optional<int64_t> value) {
    if (position == 0 || !value) return;
    check(sqlite3_bind_int64(statement_, position, *value));
  }
  void bindDouble(int position, std::optional<double> value) {
    if (position == 0 || !value) return;
    check(sqlite3_bind_double(statement_, position, *value));
  }
  // Texts and blobs are bound without a copy: the bytes must outlive run().
  void bindText(int position, std::optional<std::string_view> value) {
    if (position == 0 || !value) return;
    check(sqlite3_bind_text(statement_, position, value->data(), static_cast<int>(value->size()),
                            SQLITE_STATIC));
  }
  void bindBlob(int position, std::optional<std::string_view> value) {
    if (position == 0 || !value) return;
    check(sqlite3_bind_blob(statement_, position, value->data(), static_cast<int>(value->size()),
                            SQLITE_STATIC));
  }

  // Runs the statement with the bound values, then clears them for the next row.
  void run() {
    if (sqlite3_step(statement_) != SQLITE_DONE) throwSqliteFailure(db_);
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
  }

 private:
  void check(int result) {
    if (result != SQLITE_OK) throwSqliteFailure(db_);
  }

  sqlite3* db_;
  sqlite3_stmt* statement_ = nullptr;
};

// The INSERT into ZICCLOUDSYNCINGOBJECT over the filled columns that the schema has.
class ObjectInsert {
 public:
  ObjectInsert(sqlite3* db, const NotesSchemaOptions& schema)
      : insert_(db, statementText(schema, positions_)) {}

  void bindInt(Column column, std::optional<int64_t> value) { insert_.bindInt(position(column), value); }
  void bindDouble(Column column, std::optional<double> value) { insert_.bindDouble(position(column), value); }
  void bindText(Column column, std::optional<std::string_view> value) {
    insert_.bindText(position(column), value);
  }
  void bindBlob(Column column, std::optional<std::string_view> value) {
    insert_.bindBlob(position(column), value);
  }
  bool has(Column column) const { return position(column) != 0; }
  void run() { insert_.run(); }

 private:
  static std::string statementText(const NotesSchemaOptions& schema,
                                   std::array<int, kColumnCount>& positions) {
    std::string names;
    std::string values;
    int next = 1;
    for (size_t i = 0; i < kColumnCount; ++i) {
      positions[i] = 0;
      if (!schemaHasColumn(schema, kColumnNames[i])) continue;
      names += (next == 1 ? "" : ", ") + std::string(kColumnNames[i]);
      values += next == 1 ? "?" : ", ?";
      positions[i] = next++;
    }
    return "INSERT INTO ZICCLOUDSYNCINGOBJECT (" + names + ") VALUES (" + values + ")";
  }

  int position(Column column) const { return positions_[static_cast<size_t>(column)]; }

  std::array<int, kColumnCount> positions_{};
  Insert insert_;
};

std::optional<std::string_view> textOrNull(const std::string& text) {
  if (text.empty()) return std::nullopt;
  return text;
}

uint64_t splitMix64(uint64_t& state) {
  uint64_t z = (state += 0x9E3779B97F4A7C15ULL);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
  return z ^ (z >> 31);
}

// A version 4 shaped UUID drawn from the store UUID and the row's key, so that
// the same rows always get the same identifiers.
std::string generatedIdentifier(std::string_view storeUUID, int64_t key) {
  uint64_t state = 0xCBF29CE484222325ULL;
  for (unsigned char c : storeUUID) {
    state = (state ^ c) * 0x100000001B3ULL;
  }
  state ^= static_cast<uint64_t>(key) * 0xD6E8FEB86659FD93ULL;
  uint64_t high = splitMix64(state);
  uint64_t low = splitMix64(state);
  high = (high & ~0xF000ULL) | 0x4000ULL;
  low = (low & ~(0xC0ULL << 56)) | (0x80ULL << 56);
  char text[37];
  std::snprintf(text, sizeof text, "%08X-%04X-%04X-%04X-%012llX", static_cast<unsigned>(high >> 32),
                static_cast<unsigned>((high >> 16) & 0xFFFF), static_cast<unsigned>(high & 0xFFFF),
                static_cast<unsigned>(low >> 48), static_cast<unsigned long long>(low & 0xFFFFFFFFFFFFULL));
  return text;
}

void removeQuietly(const std::string& path) {
  std::error_code ignored;
  for (const char* suffix : {"", "-journal", "-wal", "-shm"}) {
    fs::remove(path + suffix, ignored);
  }
}

// The builder's private row type, spelled out.
using ObjectRow =
    std::variant<NotesAccountSpec, NotesFolderSpec, NotesNoteSpec, NotesAttachmentSpec, NotesLinkSpec>;

// Writes the schema and every row into the open, empty database `db`.
void writeContents(sqlite3* db, const NotesSchemaOptions& schema, const std::string& storeUUID,
                   const std::vector<ObjectRow>& rows) {
  // Nothing else can see the file until it is renamed into place, so neither a
  // journal nor syncing buys anything while it is built.
  execute(db, "PRAGMA journal_mode=OFF");
  execute(db, "PRAGMA synchronous=OFF");
  execute(db, "PRAGMA cache_size=-65536");
  execute(db, "BEGIN");

  std::string objectTable = "CREATE TABLE ZICCLOUDSYNCINGOBJECT (";
  bool first = true;
  for (std::string_view definition : kObjectColumnDefinitions) {
    std::string_view name = definition.substr(0, definition.find(' '));
    if (!schemaHasColumn(schema, name)) continue;
    objectTable += first ? " " : ", ";
    objectTable += definition;
    first = false;
  }
  objectTable += " )";
  execute(db, objectTable);
  if (schema.hasNoteDataTable) execute(db, kNoteDataTable);
  execute(db, kPrimaryKeyTable);
  execute(db, kMetadataTable);

  ObjectInsert object(db, schema);
  std::optional<Insert> noteData;
  if (schema.hasNoteDataTable) {
    noteData.emplace(db,
                     "INSERT INTO ZICNOTEDATA (Z_PK, Z_ENT, Z_OPT, ZNOTE, ZDATA) "
                     "VALUES (?, ?, 1, ?, ?)");
  }

  int64_t key = 0;
  int64_t noteDataKey = 0;
  for (const auto& row : rows) {
    ++key;
    object.bindInt(Column::kPK, key);
    object.bindInt(Column::kOpt, 1);
    if (const auto* account = std::get_if<NotesAccountSpec>(&row)) {
      object.bindInt(Column::kEntity, kEntityAccount);
      object.bindText(Column::kIdentifier, account->identifier);
      object.bindText(Column::kName, account->name);
      object.bindText(Column::kUserRecordName, textOrNull(account->userRecordName));
      object.bindInt(Column::kMarkedForDeletion, 0);
    } else if (const auto* folder = std::get_if<NotesFolderSpec>(&row)) {
      object.bindInt(Column::kEntity, kEntityFolder);
      object.bindText(Column::kIdentifier, folder->identifier);
      object.bindText(Column::kTitle2, folder->title);
      object.bindInt(Column::kParent, folder->parent);
      object.bindInt(Column::kOwner, folder->owner);
      object.bindInt(Column::kAccount4, folder->account4);
      object.bindInt(Column::kAccount7, folder->account7);
      object.bindInt(Column::kFolderType, folder->folderType);
      object.bindInt(Column::kMarkedForDeletion, folder->markedForDeletion);
      object.bindDouble(Column::kModificationDate1, folder->modifiedAt);
    } else if (const auto* note = std::get_if<NotesNoteSpec>(&row)) {
      object.bindInt(Column::kEntity, kEntityNote);
      object.bindText(Column::kIdentifier, note->identifier);
      object.bindText(Column::kTitle1, note->title);
      object.bindInt(Column::kFolder, note->folder);
      object.bindInt(Column::kAccount4, note->account4);
      object.bindInt(Column::kAccount7, note->account7);
      object.bindText(Column::kSnippet, note->snippet);
      object.bindInt(Column::kMarkedForDeletion, note->markedForDeletion);
      object.bindInt(Column::kPasswordProtected, note->passwordProtected ? 1 : 0);
      object.bindDouble(Column::kCreationDate3, note->createdAt);
      object.bindDouble(Column::kModificationDate1, note->modifiedAt);
      if (note->bodyData) {
        // Without the note-data table the key still points at it, as in a damaged
        // library whose table went missing.
        object.bindInt(Column::kNoteData, ++noteDataKey);
        if (noteData) {
          noteData->bindInt(1, noteDataKey);
          noteData->bindInt(2, kEntityNoteData);
          noteData->bindInt(3, key);
          noteData->bindBlob(4, textOrNull(*note->bodyData));
          noteData->run();
        }
      }
    } else if (const auto* attachment = std::get_if<NotesAttachmentSpec>(&row)) {
      object.bindInt(Column::kEntity, kEntityAttachment);
      object.bindText(Column::kIdentifier, attachment->identifier);
      object.bindInt(Column::kNote, attachment->note);
      object.bindText(object.has(Column::kTypeUTI) ? Column::kTypeUTI : Column::kTypeUTI1,
                      attachment->typeUTI);
      object.bindBlob(Column::kMergeableData1, attachment->mergeableData1);
      object.bindBlob(Column::kMergeableData, attachment->mergeableData);
      object.bindInt(Column::kMarkedForDeletion, attachment->markedForDeletion);
    } else if (const auto* link = std::get_if<NotesLinkSpec>(&row)) {
      object.bindInt(Column::kEntity, kEntityInlineAttachment);
      object.bindText(Column::kIdentifier, link->identifier);
      object.bindInt(Column::kNote1, link->sourceNote);
      object.bindText(Column::kTokenContentIdentifier, link->tokenContentIdentifier);
      Column typeColumn = link->useTypeUti1 ? Column::kTypeUTI1 : Column::kTypeUTI;
      if (!object.has(typeColumn)) {
        typeColumn = link->useTypeUti1 ? Column::kTypeUTI : Column::kTypeUTI1;
      }
      object.bindText(typeColumn, kLinkTypeUTI);
      object.bindInt(Column::kMarkedForDeletion, link->markedForDeletion);
    }
    object.run();
  }

  Insert entity(db, "INSERT INTO Z_PRIMARYKEY (Z_ENT, Z_NAME, Z_SUPER, Z_MAX) VALUES (?, ?, ?, ?)");
  for (const EntityDefinition& definition : kEntities) {
    int64_t maxKey = definition.entity == kEntityObject     ? key
                     : definition.entity == kEntityNoteData ? noteDataKey
                                                            : 0;
    entity.bindInt(1, definition.entity);
    entity.bindText(2, definition.name);
    entity.bindInt(3, definition.superEntity);
    entity.bindInt(4, maxKey);
    entity.run();
  }
  Insert metadata(db, "INSERT INTO Z_METADATA (Z_VERSION, Z_UUID) VALUES (1, ?)");
  metadata.bindText(1, storeUUID);
  metadata.run();

  // Indexes are built once over the finished table, which is much faster than
  // updating twenty-eight of them on every insert.
  for (const IndexDefinition& index : kObjectIndexes) {
    if (schemaHasColumn(schema, index.column)) execute(db, index.statement);
  }
  if (schema.hasNoteDataTable) execute(db, kNoteDataIndex);
  execute(db, "COMMIT");
  // Real libraries are in WAL mode; closing the connection checkpoints and
  // removes the -wal file, so the database file alone is complete.
  execute(db, "PRAGMA journal_mode=WAL");
}

}  // namespace

NotesLibraryBuilderError::NotesLibraryBuilderError(Code code, std::string detail)
    : core::Error(std::string(text(code)) + ": " + detail), code_(code), detail_(std::move(detail)) {}

std::string_view NotesLibraryBuilderError::text(Code code) {
  switch (code) {
    case Code::kFileExists:
      return "A file already exists at the library path";
    case Code::kWriteFailed:
      return "Could not write the sample library";
  }
  return {};
}

NotesLibraryBuilder::NotesLibraryBuilder(NotesSchemaOptions schema, std::string storeUUID)
    : schema_(schema), storeUUID_(std::move(storeUUID)) {}

int64_t NotesLibraryBuilder::addRow(Row row) {
  auto key = static_cast<int64_t>(rows_.size()) + 1;
  std::visit(
      [&](auto& spec) {
        if (spec.identifier.empty()) spec.identifier = generatedIdentifier(storeUUID_, key);
      },
      row);
  rows_.push_back(std::move(row));
  return key;
}

int64_t NotesLibraryBuilder::addAccount(const NotesAccountSpec& account) { return addRow(account); }
int64_t NotesLibraryBuilder::addFolder(const NotesFolderSpec& folder) { return addRow(folder); }
int64_t NotesLibraryBuilder::addNote(const NotesNoteSpec& note) { return addRow(note); }
int64_t NotesLibraryBuilder::addAttachment(const NotesAttachmentSpec& attachment) {
  return addRow(attachment);
}
int64_t NotesLibraryBuilder::addLink(const NotesLinkSpec& link) { return addRow(link); }

void NotesLibraryBuilder::write(const std::string& path) const {
  std::error_code error;
  if (fs::exists(fs::symlink_status(path, error))) {
    throw NotesLibraryBuilderError(NotesLibraryBuilderError::Code::kFileExists, path);
  }
  fs::path parent = fs::path(path).parent_path();
  if (!parent.empty()) {
    fs::create_directories(parent, error);
    if (error) throwWriteFailed(parent.string() + ": " + error.message());
  }

  const std::string partial = path + ".partial";
  removeQuietly(partial);
  sqlite3* db = nullptr;
  try {
    if (sqlite3_open_v2(partial.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) !=
        SQLITE_OK) {
      throwSqliteFailure(db);
    }
    writeContents(db, schema_, storeUUID_, rows_);
    if (sqlite3_close(db) != SQLITE_OK) throwSqliteFailure(db);
    db = nullptr;
    if (fs::exists(fs::symlink_status(path, error))) {
      throw NotesLibraryBuilderError(NotesLibraryBuilderError::Code::kFileExists, path);
    }
    fs::rename(partial, path, error);
    if (error) throwWriteFailed(path + ": " + error.message());
  } catch (...) {
    sqlite3_close_v2(db);
    removeQuietly(partial);
    throw;
  }
}

}  // namespace zephyl::notes_store
