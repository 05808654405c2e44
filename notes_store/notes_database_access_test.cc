#include "notes_store/notes_database_access.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <set>

#include "core/error.h"
#include "notes_store/fixtures/notes_library_builder.h"
#include "notes_store/note_body_decoder.h"
#include "notes_store/notes_database_error.h"
#include "platform/linux/posix_file_system.h"
#include "platform/testing/fake_notes_database_grant.h"
#include "platform/testing/in_memory_file_system.h"
#include "platform/testing/test_folder.h"

namespace zephyl::notes_store {
namespace {

namespace fs = std::filesystem;
using platform::testing::FakeNotesDatabaseGrant;

// Runs `sql` on the library at `path` through a connection of its own; with
// `keepWal`, closing does not checkpoint a -wal into the file.
void execute(const std::string& path, const std::string& sql, bool keepWal = false) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
  if (keepWal) sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
  sqlite3_close(db);
}

// Every field of each row, in order, as text.
std::vector<std::string> rowTexts(const std::vector<NotesNoteRow>& rows) {
  std::vector<std::string> texts;
  for (const auto& r : rows) {
    texts.push_back(r.id + "|" + r.uuid + "|" + r.title + "|" + r.folderID + "|" + r.accountName + "|" +
                    r.folderName + "|" + r.preview + "|" + std::to_string(r.noteDataPK.value_or(-1)) + "|" +
                    std::to_string(r.isPasswordProtected) + "|" +
                    core::formatIso8601(r.createdAt).value_or("-") + "|" +
                    core::formatIso8601(r.modifiedAt).value_or("-"));
  }
  return texts;
}

// The note list as the reader without joins gives it.
std::vector<NotesNoteRow> noteListWithoutJoins(NotesDatabaseConnection& connection) {
  std::vector<NotesNoteRow> rows;
  NotesDatabaseAccess::forEachNoteWithoutJoins(connection, std::numeric_limits<int64_t>::min(),
                                               std::numeric_limits<int64_t>::max(),
                                               [&](NotesNoteRow& row) { rows.push_back(row); });
  return rows;
}

// A fresh folder per test, removed afterwards.
class NotesDatabaseAccessTest : public ::testing::Test {
 protected:
  // Writes `builder` as NoteStore.sqlite in the test folder and returns its path.
  std::string write(const NotesLibraryBuilder& builder, const std::string& name = "NoteStore.sqlite") {
    const std::string path = (directory_ / name).string();
    builder.write(path);
    return path;
  }

  template <typename Body>
  auto read(const std::string& path, Body&& body) {
    FakeNotesDatabaseGrant grant(path);
    NotesDatabaseAccess access(grant, files_, "/home/nobody");
    auto result = access.withDatabase(std::forward<Body>(body));
    EXPECT_EQ(grant.openScopes(), 0);
    return result;
  }

  // The message of the error that reading through a grant of `granted` ends with; "" when it reads.
  std::string readFailure(const std::string& granted, core::FileSystem& files) {
    FakeNotesDatabaseGrant grant(granted);
    NotesDatabaseAccess access(grant, files, "/home/nobody");
    std::string message;
    try {
      access.withDatabase([](auto& c) { return NotesDatabaseAccess::fetchNoteList(c); });
    } catch (const NotesDatabaseError& error) {
      EXPECT_EQ(error.description(), "Zephyl could not read the Apple Notes database: " + error.message());
      message = error.message();
    }
    EXPECT_EQ(grant.openScopes(), 0);
    return message;
  }

  platform::testing::TestFolder folder_;
  fs::path directory_ = folder_.path();
  platform::PosixFileSystem files_;
};

// The library of the examples: iCloud › Work › Projects, a trash, NULL flags.
struct SmallLibrary {
  NotesLibraryBuilder builder;
  int64_t iCloud, work, projects, cafe, trash, inTrash, deletedFolder;
  int64_t note, nullFlagNote, deletedNote, trashedNote, templateNote, lockedNote;
  int64_t templates, emptySkills;

  explicit SmallLibrary(NotesSchemaOptions schema = {}) : builder(schema) {
    iCloud = builder.addAccount({.name = "iCloud", .userRecordName = "_abc"});
    const int64_t local = builder.addAccount({.name = "On My Mac"});
    work = builder.addFolder({.title = "Work", .owner = iCloud, .modifiedAt = 10});
    projects = builder.addFolder({.title = "Projects", .parent = work, .owner = iCloud});
    cafe = builder.addFolder({.title = "Café › Bar", .owner = local});
    trash = builder.addFolder({.title = "Recently Deleted", .owner = iCloud, .folderType = 1});
    inTrash = builder.addFolder({.title = "Inside Trash", .parent = trash, .owner = iCloud});
    deletedFolder = builder.addFolder({.title = "Gone", .owner = iCloud, .markedForDeletion = 1});
    templates = builder.addFolder({.title = "Templates", .owner = iCloud});
    emptySkills = builder.addFolder({.title = "Skills", .owner = iCloud});
    note = builder.addNote({.title = "Plan",
                            .folder = projects,
                            .account7 = iCloud,
                            .snippet = "first",
                            .createdAt = 0,
                            .modifiedAt = 100,
                            .bodyData = std::string("body-plan")});
    nullFlagNote = builder.addNote({.title = "Null flag",
                                    .folder = templates,
                                    .account7 = iCloud,
                                    .markedForDeletion = std::nullopt,
                                    .modifiedAt = 50,
                                    .bodyData = std::string("body-null")});
    deletedNote = builder.addNote(
        {.title = "Deleted", .folder = work, .account7 = iCloud, .markedForDeletion = 1, .modifiedAt = 60});
    trashedNote =
        builder.addNote({.title = "Trashed", .folder = trash, .account7 = iCloud, .modifiedAt = 70});
    templateNote = builder.addNote({.title = "Meeting",
                                    .folder = templates,
                                    .account7 = iCloud,
                                    .snippet = "agenda",
                                    .modifiedAt = 80,
                                    .bodyData = std::string("tmpl")});
    lockedNote = builder.addNote(
        {.title = "Locked", .folder = cafe, .account4 = local, .passwordProtected = true, .modifiedAt = 90});
  }
};

TEST_F(NotesDatabaseAccessTest, FolderTreeAndNoteListSkipTrashAndDeletedButNamedFoldersKeepNullFlags) {
  SmallLibrary library;
  const auto path = write(library.builder);
  const auto folders = read(path, [](auto& c) { return NotesDatabaseAccess::fetchFolderTree(c); });
  ASSERT_TRUE(folders.has_value());
  std::vector<std::string> rows;
  for (const auto& f : *folders) rows.push_back(f.title + "|" + f.path + "|" + f.componentPath);
  // Ordered by title without regard to case.
  EXPECT_EQ(rows, (std::vector<std::string>{
                      "Café › Bar|On My Mac › Café › Bar|9:On My Mac13:Café › Bar",
                      "Projects|iCloud › Work › Projects|6:iCloud4:Work8:Projects",
                      "Skills|iCloud › Skills|6:iCloud6:Skills",
                      "Templates|iCloud › Templates|6:iCloud9:Templates",
                      "Work|iCloud › Work|6:iCloud4:Work",
                  }));
  const std::string prefix = "x-coredata://" + library.builder.storeUUID() + "/ICFolder/p";
  EXPECT_EQ(folders->back().id, prefix + std::to_string(library.work));
  EXPECT_EQ(core::formatIso8601(folders->back().modifiedAt), "2001-01-01T00:00:10Z");
  EXPECT_EQ(folders->front().modifiedAt, std::nullopt);

  const auto notes = read(path, [](auto& c) { return NotesDatabaseAccess::fetchNoteList(c); });
  ASSERT_TRUE(notes.has_value());
  std::map<std::string, NotesNoteRow> byTitle;
  for (const auto& n : *notes) byTitle[n.title] = n;
  EXPECT_EQ(byTitle.size(), 3u);
  ASSERT_TRUE(byTitle.count("Plan") && byTitle.count("Meeting") && byTitle.count("Locked"));

  const NotesNoteRow& plan = byTitle["Plan"];
  EXPECT_EQ(plan.id,
            "x-coredata://" + library.builder.storeUUID() + "/ICNote/p" + std::to_string(library.note));
  EXPECT_EQ(plan.accountName, "iCloud");
  EXPECT_EQ(plan.folderName, "Projects");
  EXPECT_EQ(plan.preview, "first");
  EXPECT_TRUE(plan.noteDataPK.has_value());
  EXPECT_EQ(core::formatIso8601(plan.createdAt), "2001-01-01T00:00:00Z");  // 0 is a time, not "none"
  EXPECT_EQ(core::formatIso8601(plan.modifiedAt), "2001-01-01T00:01:40Z");
  EXPECT_EQ(byTitle["Meeting"].createdAt, std::nullopt);
  EXPECT_EQ(byTitle["Locked"].isPasswordProtected, 1);
  EXPECT_EQ(byTitle["Locked"].accountName, "On My Mac");  // through ZACCOUNT4 and the folder owner
  EXPECT_EQ(byTitle["Locked"].noteDataPK, std::nullopt);
  EXPECT_EQ(byTitle["Locked"].preview, "");
  // Read without joins, the same rows.
  EXPECT_EQ(rowTexts(*read(path, noteListWithoutJoins)), rowTexts(*notes));

  const auto named = read(path, [](auto& c) {
    return NotesDatabaseAccess::fetchFolderNotesWithBodies(c, NamedFolderSet::kTemplates);
  });
  ASSERT_TRUE(named.has_value());
  ASSERT_EQ(named->size(), 2u);
  // Newest first.
  EXPECT_EQ((*named)[0].title, "Meeting");
  EXPECT_EQ((*named)[0].bodyData, "tmpl");
  EXPECT_EQ((*named)[0].preview, "agenda");
  EXPECT_EQ((*named)[0].accountName, "iCloud");
  EXPECT_EQ((*named)[1].title, "Null flag");
  EXPECT_EQ((*named)[1].notePK, std::to_string(library.nullFlagNote));
  EXPECT_EQ((*named)[1].folderID, std::to_string(library.templates));

  // An empty named folder gives one row, its note columns empty.
  const auto empty = read(path, [](auto& c) {
    return NotesDatabaseAccess::fetchFolderNotesWithoutBodies(c, NamedFolderSet::kSkills);
  });
  ASSERT_TRUE(empty && empty->size() == 1u);
  EXPECT_EQ((*empty)[0].folderName, "Skills");
  EXPECT_EQ((*empty)[0].noteID, "");
  EXPECT_EQ((*empty)[0].title, "");
  EXPECT_EQ((*empty)[0].modifiedAt, std::nullopt);
}

// Which notes the list keeps, by their own and their folder's deletion flags
// and the folder's type: the reader without joins filters in code what the
// joined statement filters in SQL, where a NULL flag drops the row.
TEST_F(NotesDatabaseAccessTest, DeletionFlagsAndTheTrashDropTheSameNotesWithAndWithoutJoins) {
  NotesLibraryBuilder builder;
  const std::optional<int64_t> flags[] = {std::nullopt, 0, 1, 2};
  std::vector<std::string> expected;
  for (const auto folderFlag : flags) {
    for (const int folderType : {0, 1, 2}) {
      const std::string folderName = "F" + (folderFlag ? std::to_string(*folderFlag) : std::string("null")) +
                                     "t" + std::to_string(folderType);
      const int64_t folder =
          builder.addFolder({.title = folderName, .folderType = folderType, .markedForDeletion = folderFlag});
      for (const auto noteFlag : flags) {
        const std::string title =
            folderName + "n" + (noteFlag ? std::to_string(*noteFlag) : std::string("null"));
        builder.addNote({.title = title, .folder = folder, .markedForDeletion = noteFlag, .modifiedAt = 1});
        const auto kept = [](std::optional<int64_t> flag) { return flag && *flag != 1; };
        if (kept(folderFlag) && folderType != 1 && kept(noteFlag)) expected.push_back(title);
      }
    }
  }
  // A note in no folder, or in a folder that is not there, is not listed either.
  builder.addNote({.title = "Nowhere", .folder = 999999, .modifiedAt = 1});
  const auto path = write(builder);
  const auto notes = read(path, [](auto& c) { return NotesDatabaseAccess::fetchNoteList(c); });
  ASSERT_TRUE(notes.has_value());
  std::vector<std::string> titles;
  for (const auto& note : *notes) titles.push_back(note.title);
  std::sort(titles.begin(), titles.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(titles, expected);
  EXPECT_EQ(rowTexts(*read(path, noteListWithoutJoins)), rowTexts(*notes));
}

TEST_F(NotesDatabaseAccessTest, DatesOutsideTheCalendarOrOfAnotherTypeAreNull) {
  NotesLibraryBuilder builder;
  const int64_t folder = builder.addFolder({.title = "F"});
  const int64_t note = builder.addNote({.title = "N", .folder = folder, .createdAt = 0, .modifiedAt = 0});
  const auto path = write(builder);
  const struct {
    const char* stored;  // an SQL literal
    std::optional<std::string> read;
  } cases[] = {
      {"0.5", "2001-01-01T00:00:00.5Z"},
      {"1e300", std::nullopt},
      {"9e999", std::nullopt},
      {"-9e999", std::nullopt},
      {"9223372036854775807", std::nullopt},
      {"'2024-01-01'", std::nullopt},
      {"x'00'", std::nullopt},
  };
  // The same reading for both dates of a note; the note stays listed without a valid modification date.
  const struct {
    const char* column;
    std::optional<core::TimePoint> NotesNoteRow::*field;
  } dates[] = {{"zcreationdate3", &NotesNoteRow::createdAt},
               {"zmodificationdate1", &NotesNoteRow::modifiedAt}};
  for (const auto& date : dates) {
    for (const auto& c : cases) {
      SCOPED_TRACE(std::string(date.column) + " = " + c.stored);
      execute(path,
              std::string("UPDATE ziccloudsyncingobject SET zcreationdate3 = 0, zmodificationdate1 = 0; ") +
                  "UPDATE ziccloudsyncingobject SET " + date.column + " = " + c.stored +
                  " WHERE z_pk = " + std::to_string(note));
      const auto notes =
          read(path, [](auto& connection) { return NotesDatabaseAccess::fetchNoteList(connection); });
      ASSERT_TRUE(notes && notes->size() == 1u);
      EXPECT_EQ(core::formatIso8601(notes->front().*date.field), c.read);
    }
  }
}

TEST_F(NotesDatabaseAccessTest,
       LibrariesWithoutAccount7OrNoteDataListAtMost2000FoldersWithTheirAccountsAndNoBodies) {
  NotesLibraryBuilder builder({.hasAccount7Column = false, .hasNoteDataTable = false});
  const int64_t account = builder.addAccount({.name = "iCloud"});
  const int64_t folder = builder.addFolder({.title = "Templates", .owner = account});
  builder.addNote({.title = "Old", .folder = folder, .account4 = account, .modifiedAt = 5});
  // Linked to two accounts, the note is listed once with each.
  const int64_t other = builder.addAccount({.name = "On My Mac"});
  builder.addNote({.title = "Two", .folder = folder, .account4 = other, .modifiedAt = 6});
  // At most 2000 folders are listed: "Templates" is the 2001st by title.
  for (int i = 0; i < 2000; ++i) builder.addFolder({.title = "F" + std::to_string(i), .owner = account});
  const auto path = write(builder);
  const auto result = read(path, [](auto& c) {
    EXPECT_EQ(NotesDatabaseAccess::tableColumns(c, "ZICCLOUDSYNCINGOBJECT").count("zaccount7"), 0u);
    return std::make_pair(NotesDatabaseAccess::fetchFolderTree(c), NotesDatabaseAccess::fetchNoteList(c));
  });
  ASSERT_TRUE(result.has_value());
  ASSERT_EQ(result->first.size(), 2000u);
  EXPECT_EQ(result->first[0].path, "iCloud › F0");
  ASSERT_EQ(result->second.size(), 3u);
  EXPECT_EQ(result->second[0].accountName, "iCloud");
  EXPECT_EQ(rowTexts(*read(path, noteListWithoutJoins)), rowTexts(result->second));
  // The other statements prepare too; bodies are absent.
  read(path, [](auto& c) {
    EXPECT_FALSE(NotesDatabaseAccess::hasNoteDataTable(c));
    EXPECT_TRUE(NotesDatabaseAccess::fetchNoteBodies(c, {1, 2, 3}).empty());
    NotesDatabaseAccess::fetchLinkAttachments(c);
    NotesDatabaseAccess::fetchLinkTargets(c);
    NotesDatabaseAccess::fetchFolderNotesWithoutBodies(c, NamedFolderSet::kTemplates);
    const auto rows = NotesDatabaseAccess::fetchFolderNotesWithBodies(c, NamedFolderSet::kTemplates);
    EXPECT_FALSE(rows.empty());
    for (const auto& row : rows) EXPECT_EQ(row.bodyData, std::nullopt);
    return 0;
  });
}

int countBodyStatements(unsigned, void* context, void*, void* sql) {
  if (std::string_view(static_cast<const char*>(sql)).find("FROM zicnotedata WHERE z_pk IN") !=
      std::string_view::npos) {
    ++*static_cast<int*>(context);
  }
  return 0;
}

TEST_F(NotesDatabaseAccessTest, NoteBodiesComeInChunksOf500AndNoneStoredPastTheInflatedLimit) {
  NotesLibraryBuilder builder;
  const int64_t account = builder.addAccount({.name = "iCloud"});
  const int64_t folder = builder.addFolder({.title = "Notes", .owner = account});
  // N7 has a NULL body; N998 is stored at the inflated limit and N999 one byte past it.
  // Inflating never makes a blob shorter, so one stored longer than the limit is
  // over it; every body query leaves its bytes in the file.
  std::vector<int64_t> notes;
  for (int i = 0; i < 1000; ++i) {
    std::string body = i == 7 ? "" : "body" + std::to_string(i);
    if (i >= 998) body.assign(kMaxInflatedNoteBodyBytes + static_cast<size_t>(i - 998), 'x');
    notes.push_back(builder.addNote({.title = "N" + std::to_string(i),
                                     .folder = folder,
                                     .account7 = account,
                                     .modifiedAt = 1,
                                     .bodyData = body}));
  }
  const auto path = write(builder);
  read(path, [&](NotesDatabaseConnection& c) {
    // The 999 notes with bodies, then the NULL body and a key without a row: both simply absent.
    std::vector<int64_t> keys;
    std::map<std::string, int64_t> dataKeyOf;  // by title
    for (const auto& n : NotesDatabaseAccess::fetchNoteList(c)) {
      dataKeyOf[n.title] = *n.noteDataPK;
      if (n.title != "N7") keys.push_back(*n.noteDataPK);
    }
    keys.insert(keys.end(), {dataKeyOf.at("N7"), 999999});
    int statements = 0;
    sqlite3_trace_v2(c.handle(), SQLITE_TRACE_STMT, countBodyStatements, &statements);
    // At exactly a chunk and one past it, so that a chunk of any other size shows.
    const struct {
      size_t keys, statements, bodies;
    } cases[] = {{0, 0, 0}, {500, 1, 500}, {501, 2, 501}, {1001, 3, 999}};
    for (const auto& test : cases) {
      SCOPED_TRACE(test.keys);
      statements = 0;
      const auto bodies = NotesDatabaseAccess::fetchNoteBodies(
          c, std::vector<int64_t>(keys.begin(), keys.begin() + static_cast<ptrdiff_t>(test.keys)));
      EXPECT_EQ(statements, static_cast<int>(test.statements));
      EXPECT_EQ(bodies.size(), test.bodies);
      if (test.keys == keys.size()) {
        EXPECT_EQ(bodies.at(dataKeyOf.at("N1")), (NotesBodyBlob{"body1", false}));
        EXPECT_EQ(bodies.at(dataKeyOf.at("N998")).bytes.size(), kMaxInflatedNoteBodyBytes);
        EXPECT_EQ(bodies.at(dataKeyOf.at("N999")), (NotesBodyBlob{"", true}));
      }
    }
    std::stop_source stop;
    stop.request_stop();
    EXPECT_THROW(NotesDatabaseAccess::fetchNoteBodies(c, keys, stop.get_token()), core::CancellationError);
    sqlite3_trace_v2(c.handle(), 0, nullptr, nullptr);

    // Read by note key and as candidates, the same limit holds.
    std::map<int64_t, NotesCandidateBodyRow> candidates;
    NotesDatabaseAccess::forEachCandidateBody(
        c, [&](NotesCandidateBodyRow row) { candidates.emplace(row.key, std::move(row)); });
    for (const size_t i : {998u, 999u}) {
      SCOPED_TRACE(i);
      const auto byKey = NotesDatabaseAccess::fetchNote(c, notes[i]);
      const NotesCandidateBodyRow& candidate = candidates.at(notes[i]);
      EXPECT_EQ(byKey->bodyOverLimit, i == 999);
      EXPECT_EQ(byKey->bodyData.value_or("").size(), i == 999 ? 0 : kMaxInflatedNoteBodyBytes);
      EXPECT_EQ(candidate.bodyOverLimit, i == 999);
      EXPECT_EQ(candidate.bodyData.value_or("").size(), i == 999 ? 0 : kMaxInflatedNoteBodyBytes);
    }
    return 0;
  });
}

TEST_F(NotesDatabaseAccessTest, NoteByKeyTablesAndLinks) {
  NotesLibraryBuilder builder({.hasTypeUtiColumn = true, .hasTypeUti1Column = true});
  const int64_t account = builder.addAccount({.name = "iCloud", .userRecordName = "_owner"});
  const int64_t folder = builder.addFolder({.title = "Notes", .owner = account});
  builder.addNote({.title = "Target",
                   .identifier = "AAAAAAAA-0000-0000-0000-000000000001",
                   .folder = folder,
                   .account7 = account,
                   .modifiedAt = 1,
                   .bodyData = std::string("t")});
  const int64_t source = builder.addNote({.title = "Source",
                                          .folder = folder,
                                          .account7 = account,
                                          .modifiedAt = 2,
                                          .bodyData = std::string("s")});
  builder.addAttachment({.note = source,
                         .identifier = "TABLE-1",
                         .typeUTI = "com.apple.notes.table",
                         .mergeableData1 = std::string("m1"),
                         .mergeableData = std::string("m0")});
  builder.addAttachment({.note = source,
                         .identifier = "TABLE-2",
                         .typeUTI = "com.apple.notes.table",
                         .mergeableData = std::string("only-m0")});
  builder.addAttachment({.note = source,
                         .identifier = "TABLE-3",
                         .typeUTI = "com.apple.notes.table",
                         .mergeableData1 = std::string("gone"),
                         .markedForDeletion = 1});
  builder.addAttachment({.note = source, .identifier = "IMG", .typeUTI = "public.jpeg"});
  builder.addLink({.sourceNote = source,
                   .tokenContentIdentifier = "applenotes:note/aaaaaaaa-0000-0000-0000-000000000001"});
  builder.addLink({.sourceNote = source, .tokenContentIdentifier = "dead", .markedForDeletion = 1});
  builder.addLink({.sourceNote = source, .tokenContentIdentifier = "via-uti1", .useTypeUti1 = true});
  const auto path = write(builder);
  read(path, [&](auto& c) {
    const auto note = NotesDatabaseAccess::fetchNote(c, source);
    EXPECT_TRUE(note.has_value());
    EXPECT_EQ(note->title, "Source");
    EXPECT_EQ(note->bodyData, "s");
    EXPECT_EQ(NotesDatabaseAccess::fetchNote(c, 424242), std::nullopt);

    EXPECT_EQ(NotesDatabaseAccess::fetchTableRows(c, source).size(), 2u);
    EXPECT_TRUE(NotesDatabaseAccess::fetchTableData(c, source, {}).empty());
    const auto tables = NotesDatabaseAccess::fetchTableData(c, source, {"TABLE-1", "TABLE-2", "TABLE-3"});
    EXPECT_EQ(tables,
              (std::unordered_map<std::string, std::string>{{"TABLE-1", "m1"}, {"TABLE-2", "only-m0"}}));

    // Where a link leads and who links is BacklinksIndexTest's; here, which rows are links.
    std::set<std::string> tokens;
    for (const auto& link : NotesDatabaseAccess::fetchLinkAttachments(c))
      tokens.insert(link.tokenContentIdentifier);
    EXPECT_EQ(tokens,
              (std::set<std::string>{"applenotes:note/aaaaaaaa-0000-0000-0000-000000000001", "via-uti1"}));
    const auto targets = NotesDatabaseAccess::fetchLinkTargets(c);
    EXPECT_EQ(targets.size(), 2u);
    for (const auto& t : targets) EXPECT_EQ(t.userRecordName, "_owner");
    size_t candidates = 0;
    NotesDatabaseAccess::forEachCandidateBody(c, [&](NotesCandidateBodyRow) { ++candidates; });
    EXPECT_EQ(candidates, 2u);
    return 0;
  });
}

TEST_F(NotesDatabaseAccessTest, GrantNamingFolderOrFileOpensTheSameDatabaseAndScopesAreClosed) {
  SmallLibrary library;
  const auto path = write(library.builder);
  for (const std::string& granted : {path, directory_.string(), directory_.string() + "/"}) {
    FakeNotesDatabaseGrant grant(granted);
    NotesDatabaseAccess access(grant, files_, "/home/nobody");
    EXPECT_EQ(access.resolveDatabasePath(), path) << granted;
    EXPECT_EQ(access.withDatabase(NotesDatabaseAccess::fetchStoreUUID), library.builder.storeUUID());
    EXPECT_EQ(grant.events(), (std::vector<std::string>{"start:" + granted, "stop:" + granted}));
  }
  // A copy with another file name is used as it is.
  fs::copy_file(path, directory_ / "copy.sqlite");
  EXPECT_EQ(read((directory_ / "copy.sqlite").string(), NotesDatabaseAccess::fetchStoreUUID),
            library.builder.storeUUID());
}

TEST_F(NotesDatabaseAccessTest, MissingDatabaseIsNoDatabaseNotAnError) {
  bool ran = false;
  EXPECT_EQ(read(directory_.string() + "/nowhere", [&](auto&) { return ran = true; }), std::nullopt);
  EXPECT_FALSE(ran);

  FakeNotesDatabaseGrant noGrant;
  NotesDatabaseAccess defaults(noGrant, files_, "/home/nobody");
  EXPECT_FALSE(defaults.canOpenDatabase(directory_.string() + "/nowhere/NoteStore.sqlite"));
  EXPECT_EQ(defaults.resolveDatabasePath(),
            "/home/nobody/Library/Group Containers/group.com.apple.notes/NoteStore.sqlite");
  EXPECT_TRUE(noGrant.events().empty());

  FakeNotesDatabaseGrant broken("/x");
  broken.setResolutionFailure("bookmark is stale");
  NotesDatabaseAccess failing(broken, files_, "/home/nobody");
  EXPECT_THROW(failing.withDatabase([](auto&) { return 0; }), std::runtime_error);
}

TEST_F(NotesDatabaseAccessTest, CorruptAndReadOnlyFailuresCarrySQLiteMessages) {
  const std::string corrupt = (directory_ / "corrupt.sqlite").string();
  std::ofstream(corrupt) << std::string(8192, 'x');
  EXPECT_EQ(readFailure(corrupt, files_), "file is not a database");

  SmallLibrary library;
  const auto path = write(library.builder);
  read(path, [](auto& c) {
    try {
      NotesDatabaseAccess::executeStatement(c, "CREATE TABLE intruder(a)");
      ADD_FAILURE() << "wrote to the library";
    } catch (const NotesDatabaseError& error) {
      EXPECT_EQ(error.message(), "attempt to write a readonly database");
    }
    EXPECT_THROW(NotesDatabaseAccess::executeStatement(c, "SELEC nonsense"), NotesDatabaseError);
    return 0;
  });
}

// A SQLite VFS over the default one that behaves as a folder this process
// cannot write, the way the unix VFS meets one: a file that does not exist
// cannot be created (read-only media: SQLITE_CANTOPEN; a folder without write
// permission: SQLITE_READONLY_DIRECTORY for a new -wal), an existing one opens
// read-only, and the -shm, which the unix VFS creates inside xShmMap, cannot
// be created. Root ignores chmod, so the tests meet such folders this way.
class ReadOnlyFolderVfs {
 public:
  static constexpr const char* kName = "zephyl-test-read-only-folder";
  enum class Kind { kReadOnlyMedia, kNoWritePermission };

  static void install(Kind kind) {
    kind_ = kind;
    static const bool registered = [] {
      base_ = sqlite3_vfs_find(nullptr);
      vfs_ = *base_;
      vfs_.zName = kName;
      vfs_.pNext = nullptr;
      vfs_.xOpen = open;
      return sqlite3_vfs_register(&vfs_, 0) == SQLITE_OK;
    }();
    ASSERT_TRUE(registered);
  }

 private:
  // The default VFS's file with the default methods, except that the -shm
  // cannot be created and nothing is memory-mapped.
  static int open(sqlite3_vfs*, sqlite3_filename name, sqlite3_file* f, int flags, int* outFlags) {
    if (name != nullptr && !fs::exists(name)) {
      if ((flags & SQLITE_OPEN_WAL) != 0 && kind_ == Kind::kNoWritePermission)
        return SQLITE_READONLY_DIRECTORY;
      return SQLITE_CANTOPEN;
    }
    if ((flags & SQLITE_OPEN_READWRITE) != 0) {
      flags = (flags & ~(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE)) | SQLITE_OPEN_READONLY;
    }
    const int rc = base_->xOpen(base_, name, f, flags, outFlags);
    if (rc != SQLITE_OK || f->pMethods == nullptr) return rc;
    auto [copy, added] = methods_.try_emplace(f->pMethods, *f->pMethods);
    if (added) {
      copy->second.iVersion = 2;
      copy->second.xShmMap = [](sqlite3_file* file, int page, int size, int extend, void volatile** p) {
        const auto& [shmName, baseMethods] = files_.at(file);
        if (!fs::exists(shmName)) return SQLITE_CANTOPEN;
        return baseMethods->xShmMap(file, page, size, extend, p);
      };
    }
    files_[f] = {std::string(name != nullptr ? name : "") + "-shm", f->pMethods};
    f->pMethods = &copy->second;
    return rc;
  }

  static inline Kind kind_ = Kind::kReadOnlyMedia;
  static inline sqlite3_vfs* base_ = nullptr;
  static inline sqlite3_vfs vfs_{};
  static inline std::map<const sqlite3_io_methods*, sqlite3_io_methods> methods_;
  // The -shm name and the default methods of each open file.
  static inline std::map<sqlite3_file*, std::pair<std::string, const sqlite3_io_methods*>> files_;
};

// A library in WAL mode whose newest change (the title "Plan" → "Changed") is
// still only in its -wal, copied without its -shm, as a copy to a stick is.
std::string writeLibraryWithPendingWal(const fs::path& directory) {
  SmallLibrary library;
  const std::string path = (directory / "NoteStore.sqlite").string();
  library.builder.write(path);
  execute(path,
          "PRAGMA journal_mode=WAL; PRAGMA wal_autocheckpoint=0;"
          "UPDATE ziccloudsyncingobject SET ztitle1 = 'Changed' WHERE ztitle1 = 'Plan'",
          /*keepWal=*/true);
  fs::remove(path + "-shm");
  EXPECT_TRUE(fs::exists(path + "-wal"));
  return path;
}

TEST_F(NotesDatabaseAccessTest, ReadOnlyFolderIsReadAsImmutableAndSaysThatTheWalWasNotRead) {
  const std::string path = writeLibraryWithPendingWal(directory_);
  const struct {
    const char* name;
    bool keepWal;
    std::optional<ReadOnlyFolderVfs::Kind> vfs;  // nullopt: a real folder of mode 0555
    const char* title;                           // of the note, as read
  } cases[] = {
      {"read-only media", true, ReadOnlyFolderVfs::Kind::kReadOnlyMedia, "Plan"},
      {"chmod 0555", true, std::nullopt, "Plan"},
      {"no write permission", true, ReadOnlyFolderVfs::Kind::kNoWritePermission, "Plan"},
      // Checkpointed, then its -wal lost on the way: nothing is missing, nothing said.
      {"no write permission, no -wal", false, ReadOnlyFolderVfs::Kind::kNoWritePermission, "Changed"},
      {"read-only media, no -wal", false, ReadOnlyFolderVfs::Kind::kReadOnlyMedia, "Changed"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    if (!c.keepWal && fs::exists(path + "-wal")) {
      execute(path, "PRAGMA wal_checkpoint(TRUNCATE)");
      fs::remove(path + "-wal");
      fs::remove(path + "-shm");
    }
    const std::string bytes = platform::testing::readFile(path);
    FakeNotesDatabaseGrant grant(path);
    NotesDatabaseAccess access(grant, files_, "/home/nobody");
    std::vector<std::string> warnings;
    access.setWarningHandler([&](std::string_view text) { warnings.emplace_back(text); });
    if (c.vfs) {
      ReadOnlyFolderVfs::install(*c.vfs);
      access.setSqliteVfs(ReadOnlyFolderVfs::kName);
    } else if (::geteuid() == 0) {
      // Root may write a folder of any mode; the cases above cover it.
      continue;
    } else {
      fs::permissions(directory_, fs::perms::owner_write, fs::perm_options::remove);
    }
    const auto first = access.withDatabase(NotesDatabaseAccess::fetchNoteList);
    const auto second = access.withDatabase(NotesDatabaseAccess::fetchNoteList);
    fs::permissions(directory_, fs::perms::owner_all, fs::perm_options::add);
    ASSERT_TRUE(first.has_value());
    EXPECT_EQ(std::ranges::count(*first, std::string(c.title), &NotesNoteRow::title), 1)
        << "the file as it is, without the -wal";
    EXPECT_EQ(rowTexts(*second), rowTexts(*first));
    EXPECT_EQ(warnings, c.keepWal ? std::vector<std::string>{std::string(kUnreadWalWarning)}
                                  : std::vector<std::string>{})
        << "once, and only when a -wal was left unread";
    EXPECT_EQ(platform::testing::readFile(path), bytes);
    EXPECT_FALSE(fs::exists(path + "-shm"));
  }
}

TEST_F(NotesDatabaseAccessTest, FolderWithoutSearchPermissionIsUnreadableNotMissing) {
  // Through the file-system interface, as any user: the in-memory folder of mode 0.
  platform::testing::InMemoryFileSystem memory;
  memory.denySearch("/media/locked");
  for (const std::string granted :
       {"/media/locked", "/media/locked/copy.sqlite", "/media/locked/NoteStore.sqlite"}) {
    EXPECT_EQ(readFailure(granted, memory), "the folder /media/locked cannot be read (permission denied)")
        << granted;
  }

  // And on disk, where chmod binds (not for root, who may search any folder).
  if (::geteuid() == 0) GTEST_SKIP() << "running as root, which ignores a folder's mode 0";
  SmallLibrary library;
  const fs::path locked = directory_ / "locked";
  fs::create_directories(locked);
  library.builder.write((locked / "NoteStore.sqlite").string());
  fs::permissions(locked, fs::perms::none);
  const std::string message = readFailure(locked.string(), files_);
  fs::permissions(locked, fs::perms::owner_all);
  EXPECT_EQ(message, "the folder " + locked.string() + " cannot be read (permission denied)");
}

// The real libraries made by Apple Notes on macOS 13 and 15.
class RealLibraryTest : public NotesDatabaseAccessTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(RealLibraryTest, ListsExactlyTheLiveFoldersAndNotes) {
  const fs::path source = fs::path(ZEPHYL_SHARED_TESTDATA) / "apple-notes" / GetParam();
  if (!fs::exists(source)) GTEST_SKIP() << "shared test data not found at " << source;
  // Copied first: even a read-only open creates -shm and -wal beside a WAL library.
  const fs::path copy = directory_ / "NoteStore.sqlite";
  fs::copy_file(source, copy);
  const std::string before = platform::testing::readFile(copy);

  const auto result = read(copy.string(), [](auto& c) {
    // The named folders' statements read these schemas too; neither library has such a folder.
    EXPECT_TRUE(NotesDatabaseAccess::fetchFolderNotesWithBodies(c, NamedFolderSet::kTemplates).empty());
    EXPECT_TRUE(NotesDatabaseAccess::fetchFolderNotesWithoutBodies(c, NamedFolderSet::kSkills).empty());
    return std::make_pair(NotesDatabaseAccess::fetchFolderTree(c), NotesDatabaseAccess::fetchNoteList(c));
  });
  ASSERT_TRUE(result.has_value());
  std::vector<std::string> folders;
  for (const auto& f : result->first) folders.push_back(f.path + "|" + f.componentPath);
  EXPECT_EQ(
      folders,
      (std::vector<std::string>{
          "On My Mac › Folder|9:On My Mac6:Folder",
          "On My Mac › Folder2|9:On My Mac7:Folder2",
          "On My Mac › Notes|9:On My Mac5:Notes",
          "On My Mac › Folder2 › Subfolder|9:On My Mac7:Folder29:Subfolder",
          "On My Mac › Folder2 › Subfolder › Subsubfolder|9:On My Mac7:Folder29:Subfolder12:Subsubfolder",
      }));
  std::set<std::string> titles;
  for (const auto& n : result->second) {
    titles.insert(n.title);
    EXPECT_EQ(n.accountName, "On My Mac");
    EXPECT_EQ(n.isPasswordProtected, n.title == "This note is password protected" ? 1 : 0);
  }
  EXPECT_EQ(titles.count("This is a deleted note"), 0u);  // it lies in the trash
  EXPECT_TRUE(titles.count("This note is in a subfolder"));
  EXPECT_TRUE(titles.count("This note is password protected"));
  EXPECT_EQ(rowTexts(*read(copy.string(), noteListWithoutJoins)), rowTexts(result->second));
  EXPECT_EQ(platform::testing::readFile(copy), before);
}

INSTANTIATE_TEST_SUITE_P(Libraries, RealLibraryTest,
                         ::testing::Values("NoteStore-macOS-13.sqlite", "NoteStore-macOS-15.sqlite"));

}  // namespace
}  // namespace zephyl::notes_store
