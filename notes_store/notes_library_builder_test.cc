#include "notes_store/notes_library_builder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "notes_store/internal/library_test_support.h"

namespace zephyl::notes_store {
namespace {

namespace fs = std::filesystem;
using internal::TestDatabase;
using internal::TestFolder;

std::vector<std::string> objectColumns(const TestDatabase& db) {
  return db.column("SELECT name FROM pragma_table_info('ZICCLOUDSYNCINGOBJECT')");
}

bool contains(const std::vector<std::string>& items, const std::string& item) {
  return std::find(items.begin(), items.end(), item) != items.end();
}

TEST(NotesLibraryBuilder, SchemaOptionsRemoveTheirColumnOrTable) {
  struct Case {
    const char* name;
    NotesSchemaOptions schema;
    std::vector<std::string> absentColumns;
    bool noteDataTable;
  };
  const std::vector<Case> cases = {
      {"default", {}, {}, true},
      {"no ZACCOUNT7", {.hasAccount7Column = false}, {"ZACCOUNT7"}, true},
      {"no ZTYPEUTI", {.hasTypeUtiColumn = false}, {"ZTYPEUTI"}, true},
      {"no ZTYPEUTI1", {.hasTypeUti1Column = false}, {"ZTYPEUTI1"}, true},
      {"no type columns",
       {.hasTypeUtiColumn = false, .hasTypeUti1Column = false},
       {"ZTYPEUTI", "ZTYPEUTI1"},
       true},
      {"no note data", {.hasNoteDataTable = false}, {}, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TestFolder folder;
    NotesLibraryBuilder builder(c.schema);
    int64_t account = builder.addAccount({.name = "iCloud"});
    int64_t notes = builder.addFolder({.title = "Notes", .owner = account, .account7 = account});
    int64_t note = builder.addNote(
        {.title = "A", .folder = notes, .account7 = account, .bodyData = std::string("body")});
    builder.addAttachment({.note = note, .typeUTI = "public.jpeg"});
    builder.addLink({.sourceNote = note, .tokenContentIdentifier = "applenotes:note/x"});
    builder.write(folder.file("NoteStore.sqlite"));

    TestDatabase db(folder.file("NoteStore.sqlite"));
    std::vector<std::string> columns = objectColumns(db);
    EXPECT_EQ(columns.size(), 212 - c.absentColumns.size());
    for (const char* column : {"ZACCOUNT7", "ZTYPEUTI", "ZTYPEUTI1"}) {
      bool absent = contains(c.absentColumns, column);
      EXPECT_EQ(contains(columns, column), !absent) << column;
    }
    EXPECT_EQ(contains(db.column("SELECT name FROM sqlite_master WHERE type = 'index'"),
                       "ZICCLOUDSYNCINGOBJECT_ZACCOUNT7_INDEX"),
              !contains(c.absentColumns, "ZACCOUNT7"));
    EXPECT_EQ(db.count("SELECT count(*) FROM sqlite_master WHERE name = 'ZICNOTEDATA'"),
              c.noteDataTable ? 1 : 0);
    EXPECT_EQ(db.count("SELECT count(*) FROM ZICCLOUDSYNCINGOBJECT"), 5);
  }
}

TEST(NotesLibraryBuilder, DefaultSchemaMatchesARealLibrary) {
  fs::path real = fs::path(ZEPHYL_SHARED_TESTDATA) / "apple-notes" / "NoteStore-macOS-15.sqlite";
  if (!fs::exists(real)) GTEST_SKIP() << "no real library at " << real;
  TestFolder folder;
  // Even a read-only open of a WAL database creates files beside it: use a copy.
  fs::copy_file(real, folder.file("real.sqlite"));
  NotesLibraryBuilder().write(folder.file("built.sqlite"));

  TestDatabase realDb(folder.file("real.sqlite"));
  TestDatabase builtDb(folder.file("built.sqlite"));
  for (const char* table : {"ZICCLOUDSYNCINGOBJECT", "ZICNOTEDATA", "Z_METADATA", "Z_PRIMARYKEY"}) {
    std::string sql = std::string("SELECT name, type, pk FROM pragma_table_info('") + table + "')";
    EXPECT_EQ(builtDb.rows(sql), realDb.rows(sql)) << table;
  }
  const std::string indexes =
      "SELECT name, sql FROM sqlite_master WHERE type = 'index' AND tbl_name IN "
      "('ZICCLOUDSYNCINGOBJECT', 'ZICNOTEDATA') ORDER BY name";
  EXPECT_EQ(builtDb.rows(indexes), realDb.rows(indexes));
  const std::string entities =
      "SELECT Z_ENT, Z_NAME, Z_SUPER FROM Z_PRIMARYKEY WHERE Z_ENT < 1000 ORDER BY Z_ENT";
  EXPECT_EQ(builtDb.rows(entities), realDb.rows(entities));
}

TEST(NotesLibraryBuilder, WritesFlagsAndOptionalValuesAsGiven) {
  TestFolder folder;
  NotesLibraryBuilder builder;
  int64_t account = builder.addAccount({.name = "On My Mac"});
  int64_t notes = builder.addFolder({.title = "Notes", .owner = account});
  struct Case {
    std::optional<int64_t> flag;
    const char* written;
  };
  const Case cases[] = {{0, "0"}, {1, "1"}, {std::nullopt, "NULL"}};
  std::vector<int64_t> noteKeys, folderKeys, attachmentKeys, linkKeys;
  for (const Case& c : cases) {
    folderKeys.push_back(builder.addFolder({.title = "F", .markedForDeletion = c.flag}));
    noteKeys.push_back(builder.addNote({.title = "N", .folder = notes, .markedForDeletion = c.flag}));
    attachmentKeys.push_back(
        builder.addAttachment({.note = noteKeys.back(), .typeUTI = "t", .markedForDeletion = c.flag}));
    linkKeys.push_back(builder.addLink(
        {.sourceNote = noteKeys.back(), .tokenContentIdentifier = "x", .markedForDeletion = c.flag}));
  }
  int64_t untitled = builder.addFolder({.title = std::nullopt});
  int64_t locked = builder.addNote({.title = std::nullopt,
                                    .folder = notes,
                                    .passwordProtected = true,
                                    .createdAt = 0.0,
                                    .modifiedAt = 1.5});
  builder.write(folder.file("NoteStore.sqlite"));

  TestDatabase db(folder.file("NoteStore.sqlite"));
  for (size_t i = 0; i < std::size(cases); ++i) {
    for (int64_t key : {folderKeys[i], noteKeys[i], attachmentKeys[i], linkKeys[i]}) {
      EXPECT_EQ(db.value("SELECT ZMARKEDFORDELETION FROM ZICCLOUDSYNCINGOBJECT WHERE Z_PK = " +
                         std::to_string(key)),
                cases[i].written)
          << "row " << key;
    }
  }
  EXPECT_EQ(db.value("SELECT ZTITLE2 FROM ZICCLOUDSYNCINGOBJECT WHERE Z_PK = " + std::to_string(untitled)),
            "NULL");
  // A time of 0 is written, not dropped; the column's NUMERIC affinity keeps it as integer 0.
  EXPECT_EQ(db.rows("SELECT ZTITLE1, ZISPASSWORDPROTECTED, ZCREATIONDATE3, ZMODIFICATIONDATE1, "
                    "ZSNIPPET, ZNOTEDATA FROM ZICCLOUDSYNCINGOBJECT WHERE Z_PK = " +
                    std::to_string(locked)),
            (std::vector<std::vector<std::string>>{{"NULL", "1", "0", "1.5", "NULL", "NULL"}}));
}

TEST(NotesLibraryBuilder, LinksRowsTheWayNotesDoes) {
  TestFolder folder;
  NotesLibraryBuilder builder({}, "11111111-2222-3333-4444-555555555555");
  int64_t account = builder.addAccount({.name = "iCloud", .userRecordName = "_abc"});
  int64_t parent = builder.addFolder({.title = "Work", .owner = account});
  int64_t child = builder.addFolder({.title = "Projects", .parent = parent, .owner = account});
  int64_t withBody = builder.addNote(
      {.title = "A", .folder = child, .account7 = account, .bodyData = std::string("\x1F\x8B body", 7)});
  int64_t nullBody = builder.addNote({.title = "B", .folder = child, .bodyData = std::string()});
  int64_t noBody = builder.addNote({.title = "C", .folder = child});
  int64_t table = builder.addAttachment({.note = withBody,
                                         .identifier = "T-1",
                                         .typeUTI = "com.apple.notes.table",
                                         .mergeableData1 = std::string("m1"),
                                         .mergeableData = std::string("m0")});
  int64_t link = builder.addLink(
      {.sourceNote = withBody, .tokenContentIdentifier = "applenotes:x", .useTypeUti1 = true});
  EXPECT_EQ((std::vector<int64_t>{account, parent, child, withBody, nullBody, noBody, table, link}),
            (std::vector<int64_t>{1, 2, 3, 4, 5, 6, 7, 8}));
  builder.write(folder.file("NoteStore.sqlite"));

  TestDatabase db(folder.file("NoteStore.sqlite"));
  EXPECT_EQ(db.value("SELECT Z_UUID FROM Z_METADATA WHERE Z_VERSION = 1"),
            "11111111-2222-3333-4444-555555555555");
  EXPECT_EQ(db.rows("SELECT Z_ENT, ZNAME, ZUSERRECORDNAME FROM ZICCLOUDSYNCINGOBJECT WHERE Z_PK = 1"),
            (std::vector<std::vector<std::string>>{{"13", "iCloud", "_abc"}}));
  EXPECT_EQ(db.rows("SELECT Z_ENT, ZTITLE2, ZPARENT, ZOWNER FROM ZICCLOUDSYNCINGOBJECT "
                    "WHERE Z_PK = 3"),
            (std::vector<std::vector<std::string>>{{"14", "Projects", "2", "1"}}));
  // Note data: a row with the body, a row with NULL data, and no row at all.
  EXPECT_EQ(
      db.rows("SELECT note.Z_ENT, data.Z_ENT, data.ZNOTE, hex(data.ZDATA) FROM "
              "ZICCLOUDSYNCINGOBJECT note JOIN ZICNOTEDATA data ON note.ZNOTEDATA = data.Z_PK "
              "ORDER BY note.Z_PK"),
      (std::vector<std::vector<std::string>>{{"11", "18", "4", "1F8B20626F6479"}, {"11", "18", "5", ""}}));
  EXPECT_EQ(db.value("SELECT ZNOTEDATA FROM ZICCLOUDSYNCINGOBJECT WHERE Z_PK = 6"), "NULL");
  EXPECT_EQ(db.rows("SELECT Z_ENT, ZNOTE, ZIDENTIFIER, ZTYPEUTI, ZMERGEABLEDATA1, ZMERGEABLEDATA "
                    "FROM ZICCLOUDSYNCINGOBJECT WHERE Z_PK = 7"),
            (std::vector<std::vector<std::string>>{{"4", "4", "T-1", "com.apple.notes.table", "m1", "m0"}}));
  EXPECT_EQ(db.rows("SELECT Z_ENT, ZNOTE1, ZTYPEUTI, ZTYPEUTI1, ZTOKENCONTENTIDENTIFIER "
                    "FROM ZICCLOUDSYNCINGOBJECT WHERE Z_PK = 8"),
            (std::vector<std::vector<std::string>>{
                {"8", "4", "NULL", "com.apple.notes.inlinetextattachment.link", "applenotes:x"}}));
  EXPECT_EQ(db.rows("SELECT Z_NAME, Z_MAX FROM Z_PRIMARYKEY WHERE Z_ENT IN (2, 11, 18) "
                    "ORDER BY Z_ENT"),
            (std::vector<std::vector<std::string>>{
                {"ICCloudSyncingObject", "8"}, {"ICNote", "0"}, {"ICNoteData", "2"}}));
  EXPECT_EQ(db.value("PRAGMA journal_mode"), "wal");
  EXPECT_FALSE(fs::exists(folder.file("NoteStore.sqlite.partial")));
}

TEST(NotesLibraryBuilder, TypeFallsBackToTheOtherTypeColumn) {
  TestFolder folder;
  NotesLibraryBuilder builder({.hasTypeUtiColumn = false});
  int64_t attachment = builder.addAttachment({.note = 1, .typeUTI = "public.png"});
  int64_t link = builder.addLink({.sourceNote = 1, .tokenContentIdentifier = "x"});
  builder.write(folder.file("NoteStore.sqlite"));
  TestDatabase db(folder.file("NoteStore.sqlite"));
  EXPECT_EQ(db.column("SELECT ZTYPEUTI1 FROM ZICCLOUDSYNCINGOBJECT ORDER BY Z_PK"),
            (std::vector<std::string>{"public.png", "com.apple.notes.inlinetextattachment.link"}));
  EXPECT_EQ(attachment + 1, link);
}

TEST(NotesLibraryBuilder, GeneratedIdentifiersAreStableUniqueUpperCaseUUIDs) {
  auto identifiers = [](const std::string& storeUUID) {
    TestFolder folder;
    NotesLibraryBuilder builder({}, storeUUID);
    int64_t account = builder.addAccount({.name = "iCloud"});
    int64_t notes = builder.addFolder({.title = "Notes", .owner = account});
    for (int i = 0; i < 50; ++i) builder.addNote({.title = "N", .folder = notes});
    builder.addNote({.title = "given", .identifier = "GIVEN", .folder = notes});
    builder.write(folder.file("NoteStore.sqlite"));
    return TestDatabase(folder.file("NoteStore.sqlite"))
        .column("SELECT ZIDENTIFIER FROM ZICCLOUDSYNCINGOBJECT ORDER BY Z_PK");
  };
  std::vector<std::string> first = identifiers("A");
  EXPECT_EQ(first, identifiers("A"));
  EXPECT_NE(first, identifiers("B"));
  EXPECT_EQ(first.back(), "GIVEN");
  first.pop_back();
  const std::regex uuid("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
  for (const std::string& identifier : first) EXPECT_TRUE(std::regex_match(identifier, uuid)) << identifier;
  EXPECT_EQ(std::set<std::string>(first.begin(), first.end()).size(), first.size());
}

TEST(NotesLibraryBuilder, RefusesAnExistingPathAndLeavesItAlone) {
  TestFolder folder;
  std::string path = folder.file("NoteStore.sqlite");
  std::ofstream(path) << "keep me";
  try {
    NotesLibraryBuilder().write(path);
    FAIL() << "wrote over an existing file";
  } catch (const NotesLibraryBuilderError& error) {
    EXPECT_EQ(error.code(), NotesLibraryBuilderError::Code::kFileExists);
    EXPECT_EQ(error.description(), "A file already exists at the library path: " + path);
  }
  std::ifstream in(path);
  std::string content((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_EQ(content, "keep me");
}

TEST(NotesLibraryBuilder, CreatesMissingParentFolders) {
  TestFolder folder;
  std::string path = folder.file("a/b/c/NoteStore.sqlite");
  NotesLibraryBuilder().write(path);
  EXPECT_EQ(TestDatabase(path).count("SELECT count(*) FROM Z_METADATA"), 1);
}

TEST(NotesLibraryBuilder, FailedWriteLeavesNothingBehind) {
  TestFolder folder;
  std::string path = folder.file("NoteStore.sqlite");
  NotesLibraryBuilder builder;
  builder.addNote({.title = "one", .identifier = "SAME"});
  builder.addNote({.title = "two", .identifier = "SAME"});  // the identifier index is unique
  try {
    builder.write(path);
    FAIL() << "duplicate identifiers were written";
  } catch (const NotesLibraryBuilderError& error) {
    EXPECT_EQ(error.code(), NotesLibraryBuilderError::Code::kWriteFailed);
    EXPECT_EQ(error.description().rfind("Could not write the sample library: ", 0), 0u)
        << error.description();
    EXPECT_FALSE(error.detail().empty());
  }
  EXPECT_TRUE(fs::is_empty(folder.path()));
}

}  // namespace
}  // namespace zephyl::notes_store
