#include "notes_store/sample_library.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "notes_store/internal/library_test_support.h"
#include "notes_store/internal/note_document_test_reader.h"

namespace zephyl::notes_store {
namespace {

using internal::TestDatabase;
using internal::TestFolder;
using internal::testInflate;
using internal::testMessage;
using internal::testMessages;
using internal::testVarint;

constexpr double kEndTime = 815184000.0;  // 2026-11-01 in seconds since 2001-01-01

std::string fileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Listed folders as the folder tree finds them: live, not the trash, under live parents.
constexpr const char* kListedFolders = R"(
  WITH RECURSIVE tree(pk) AS (
    SELECT z_pk FROM ziccloudsyncingobject WHERE ztitle2 IS NOT NULL AND zparent IS NULL
      AND COALESCE(zmarkedfordeletion, 0) != 1 AND COALESCE(zfoldertype, 0) != 1
    UNION ALL
    SELECT child.z_pk FROM ziccloudsyncingobject child JOIN tree ON child.zparent = tree.pk
      WHERE child.ztitle2 IS NOT NULL AND COALESCE(child.zmarkedfordeletion, 0) != 1
      AND COALESCE(child.zfoldertype, 0) != 1)
  SELECT count(*) FROM tree)";

// The notes that the note list selects (flags compared without COALESCE on purpose).
constexpr const char* kListedNotes = R"(
  SELECT count(*) FROM ziccloudsyncingobject note
    JOIN ziccloudsyncingobject folder ON note.zfolder = folder.z_pk
  WHERE note.ztitle1 IS NOT NULL AND note.zidentifier IS NOT NULL
    AND note.zmodificationdate1 IS NOT NULL AND note.zmarkedfordeletion != 1
    AND folder.zmarkedfordeletion != 1 AND COALESCE(folder.zfoldertype, 0) != 1)";

TEST(SampleLibrary, SameSeedWritesTheSameFileAndAnotherSeedDoesNot) {
  TestFolder folder;
  auto write = [&](const std::string& name, uint64_t seed) {
    writeSampleLibrary(folder.file(name), {.noteCount = 300, .seed = seed});
    return fileBytes(folder.file(name));
  };
  std::string first = write("a.sqlite", 7);
  EXPECT_EQ(first, write("b.sqlite", 7));
  EXPECT_NE(first, write("c.sqlite", 8));
}

TEST(SampleLibrary, SummaryCountsWhatTheFileHolds) {
  TestFolder folder;
  std::string path = folder.file("NoteStore.sqlite");
  std::vector<int> progress;
  SampleLibrarySummary summary = writeSampleLibrary(path, {.noteCount = 450, .seed = 3},
                                                    [&](int written) { progress.push_back(written); });
  TestDatabase db(path);

  EXPECT_EQ(summary.accounts, db.count("SELECT count(*) FROM ziccloudsyncingobject WHERE z_ent = 13"));
  EXPECT_EQ(summary.folders, db.count(kListedFolders));
  EXPECT_EQ(summary.notes, db.count(kListedNotes));
  EXPECT_EQ(summary.lockedNotes,
            db.count("SELECT count(*) FROM ziccloudsyncingobject WHERE zispasswordprotected = 1"));
  EXPECT_EQ(summary.deletedNotes,
            db.count("SELECT count(*) FROM ziccloudsyncingobject WHERE ztitle1 IS NOT NULL "
                     "AND COALESCE(zmarkedfordeletion, 1) = 1"));
  EXPECT_EQ(summary.trashedNotes,
            db.count("SELECT count(*) FROM ziccloudsyncingobject note JOIN ziccloudsyncingobject "
                     "folder ON note.zfolder = folder.z_pk WHERE folder.zfoldertype = 1"));
  EXPECT_EQ(summary.tables, db.count("SELECT count(*) FROM ziccloudsyncingobject "
                                     "WHERE ztypeuti = 'com.apple.notes.table'"));
  const std::string linkType = "'com.apple.notes.inlinetextattachment.link'";
  EXPECT_EQ(summary.links, db.count("SELECT count(*) FROM ziccloudsyncingobject WHERE ztypeuti = " +
                                    linkType + " OR ztypeuti1 = " + linkType));
  EXPECT_EQ(summary.storeUUID, db.value("SELECT z_uuid FROM z_metadata"));
  EXPECT_EQ(db.count("SELECT count(*) FROM ziccloudsyncingobject WHERE z_ent = 11"), 450);

  // Every kind is present, at roughly the intended rates.
  EXPECT_EQ(summary.accounts, 3);
  EXPECT_EQ(summary.folders, 12);
  EXPECT_GT(summary.lockedNotes, 0);
  EXPECT_GT(summary.trashedNotes, 0);
  EXPECT_GT(summary.tables, 0);
  EXPECT_GT(summary.links, 0);
  EXPECT_GT(db.count("SELECT count(*) FROM ziccloudsyncingobject WHERE ztitle1 IS NOT NULL "
                     "AND zmarkedfordeletion IS NULL"),
            0);
  EXPECT_GT(db.count("SELECT count(*) FROM zicnotedata WHERE hex(substr(zdata, 1, 1)) = '78'"), 0);
  EXPECT_GT(db.count("SELECT count(*) FROM ziccloudsyncingobject WHERE ztitle1 IS NOT NULL "
                     "AND znotedata IS NULL"),
            0);
  EXPECT_EQ(db.count("SELECT count(*) FROM ziccloudsyncingobject WHERE ztitle1 IS NOT NULL AND ("
                     "zcreationdate3 > zmodificationdate1 OR zmodificationdate1 > " +
                     std::to_string(kEndTime) + " OR zcreationdate3 < " +
                     std::to_string(kEndTime - 5 * 366 * 86400.0) + ")"),
            0);

  ASSERT_FALSE(progress.empty());
  EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
  EXPECT_EQ(progress.back(), 450);
}

TEST(SampleLibrary, FolderCountFollowsTheOptions) {
  struct Case {
    int noteCount;
    int folderCount;
    int expected;
  };
  const Case cases[] = {{0, 0, 12}, {1500, 0, 30}, {40, 25, 25}};
  for (const Case& c : cases) {
    TestFolder folder;
    SampleLibrarySummary summary = writeSampleLibrary(
        folder.file("NoteStore.sqlite"), {.noteCount = c.noteCount, .folderCount = c.folderCount});
    EXPECT_EQ(summary.folders, c.expected) << c.noteCount << " notes";
    EXPECT_EQ(TestDatabase(folder.file("NoteStore.sqlite")).count(kListedFolders), c.expected);
  }
}

TEST(SampleLibrary, BodiesAreWellFormedAndUseEveryStyle) {
  TestFolder folder;
  std::string path = folder.file("NoteStore.sqlite");
  writeSampleLibrary(path, {.noteCount = 300, .seed = 11});
  TestDatabase db(path);

  std::set<uint64_t> styleTypes;
  std::set<uint64_t> checklistStates;
  std::set<std::string> inlineKinds;
  std::map<std::string, std::string> noteLinks;  // link text -> source note key
  int bodies = 0;
  for (const auto& row :
       db.rows("SELECT note.z_pk, note.ztitle1, note.zsnippet, data.zdata FROM ziccloudsyncingobject "
               "note JOIN zicnotedata data ON note.znotedata = data.z_pk WHERE data.zdata IS NOT NULL "
               "AND note.zispasswordprotected = 0")) {
    SCOPED_TRACE(row[1]);
    std::optional<std::string> document = testInflate(row[3]);
    ASSERT_TRUE(document);
    std::string_view note = testMessage(testMessage(*document, 2).value_or(""), 3).value_or("");
    std::string text(testMessage(note, 2).value_or(""));
    // The title is the first line and the snippet the second.
    EXPECT_EQ(text.substr(0, text.find('\n')), row[1]);
    size_t second = text.find('\n') + 1;
    EXPECT_EQ(text.substr(second, text.find('\n', second) - second), row[2]);

    uint64_t utf16Length = 0;
    for (unsigned char c : text) {
      if ((c & 0xC0) != 0x80) utf16Length += c >= 0xF0 ? 2 : 1;
    }
    uint64_t covered = 0;
    for (std::string_view run : testMessages(note, 5)) {
      covered += testVarint(run, 1).value_or(0);
      if (auto paragraph = testMessage(run, 2)) {
        if (auto type = testVarint(*paragraph, 1)) styleTypes.insert(*type);
        if (auto checklist = testMessage(*paragraph, 5)) {
          checklistStates.insert(testVarint(*checklist, 2).value_or(99));
        }
        if (testVarint(*paragraph, 8) == 1u) inlineKinds.insert("quote");
      }
      if (auto weight = testVarint(run, 5)) inlineKinds.insert("weight" + std::to_string(*weight));
      if (testVarint(run, 6)) inlineKinds.insert("underline");
      if (testVarint(run, 7)) inlineKinds.insert("strikethrough");
      if (testVarint(run, 14)) inlineKinds.insert("highlight");
      if (auto link = testMessage(run, 9)) {
        if (link->starts_with("applenotes:note/")) {
          noteLinks[std::string(*link)] = row[0];
        } else {
          inlineKinds.insert("web link");
        }
      }
      if (auto attachment = testMessage(run, 12)) {
        std::string identifier(testMessage(*attachment, 1).value_or(""));
        EXPECT_EQ(db.count("SELECT count(*) FROM ziccloudsyncingobject WHERE zidentifier = '" + identifier +
                           "' AND znote = " + row[0] + " AND ztypeuti = '" +
                           std::string(testMessage(*attachment, 2).value_or("")) + "'"),
                  1);
      }
    }
    EXPECT_EQ(covered, utf16Length) << "the runs must cover the text exactly";
    ++bodies;
  }
  EXPECT_GT(bodies, 250);
  EXPECT_EQ(styleTypes, (std::set<uint64_t>{0, 1, 2, 4, 100, 101, 102, 103}));
  EXPECT_EQ(checklistStates, (std::set<uint64_t>{0, 1}));
  for (const char* kind :
       {"quote", "weight1", "weight2", "weight3", "underline", "strikethrough", "highlight", "web link"}) {
    EXPECT_TRUE(inlineKinds.contains(kind)) << kind;
  }

  // Each note link has its link row in the source note, and names a real note.
  ASSERT_FALSE(noteLinks.empty());
  for (const auto& [link, source] : noteLinks) {
    EXPECT_GE(db.count("SELECT count(*) FROM ziccloudsyncingobject WHERE znote1 = " + source +
                       " AND ztokencontentidentifier = '" + link + "'"),
              1)
        << link;
    EXPECT_EQ(db.count("SELECT count(*) FROM ziccloudsyncingobject WHERE ztitle1 IS NOT NULL "
                       "AND lower(zidentifier) = '" +
                       link.substr(16) + "'"),
              1)
        << link;
  }
}

TEST(SampleLibrary, TablesDecodeFromTheirMergeableData) {
  TestFolder folder;
  std::string path = folder.file("NoteStore.sqlite");
  writeSampleLibrary(path, {.noteCount = 260, .seed = 5});
  std::vector<std::string> blobs = TestDatabase(path).column(
      "SELECT zmergeabledata1 FROM ziccloudsyncingobject WHERE ztypeuti = 'com.apple.notes.table'");
  ASSERT_FALSE(blobs.empty());
  std::set<std::string> directions;
  for (const std::string& blob : blobs) {
    std::optional<std::string> document = testInflate(blob);
    ASSERT_TRUE(document);
    std::optional<internal::TestTable> table = internal::testReadTable(*document);
    ASSERT_TRUE(table);
    EXPECT_GE(table->rows.size(), 2u);
    for (const auto& cells : table->rows) {
      EXPECT_EQ(cells.size(), table->rows[0].size());
      for (const std::string& cell : cells) EXPECT_FALSE(cell.empty());
    }
    directions.insert(table->direction);
  }
  EXPECT_EQ(directions, (std::set<std::string>{"CRTableColumnDirectionLeftToRight",
                                               "CRTableColumnDirectionRightToLeft"}));
}

}  // namespace
}  // namespace zephyl::notes_store
