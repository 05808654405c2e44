#include "notes_store/library_export_notes.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>

namespace zephyl::notes_store {
namespace {

constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
constexpr int64_t kMax = std::numeric_limits<int64_t>::max();

core::TimePoint at(int64_t microseconds) { return core::TimePoint(std::chrono::microseconds(microseconds)); }

// A note gives back what its row held, whichever of its texts it keeps as
// they were and whichever it makes again.
TEST(LibraryExportNote, GivesBackWhatItsRowHeld) {
  struct Case {
    std::string id;
    int64_t key;
    std::string uuid;
    std::string title;
    std::optional<int64_t> noteDataPK;
    std::optional<int64_t> created, modified;
  };
  const Case cases[] = {
      {"x-coredata://S/ICNote/p12", 12, "2C6D8E2F-0A1B-4C5D-9E8F-A0B1C2D3E4F5", "Plan", 7, 1, 2},
      {"x-coredata://S/ICNote/p0", 0, "2c6d8e2f-0a1b-4c5d-9e8f-a0b1c2d3e4f5", "", std::nullopt, std::nullopt,
       5},
      {"x-coredata://S/ICNote/p007", 7, "{2C6D8E2F-0A1B-4C5D-9E8F-A0B1C2D3E4F5}", "Leading zeros", kMax, kMin,
       kMax},
      {"x-coredata://S/ICNote/p-5", -5, "", std::string(200, 't'), 0, -1, std::nullopt},
      {"x-coredata://S/ICNote/p9223372036854775807", kMax, "TABLE-1", "Largest key", kMin, 0, 0},
      {"x-coredata://S/ICNote/p99999999999999999999", 0, "x", "A key too large", 1, 1, 1},
      {"x-coredata://T/ICNote/p3", 3, "0F0E0D0C-0000-4000-8000-00000000AAAA", "Another store", 3, 3, 3},
      {"no number", 0, "u", std::string(70000, 'l'), std::nullopt, std::nullopt, std::nullopt},
      {"", 0, "", "", std::nullopt, std::nullopt, std::nullopt},
  };
  LibraryExportNoteList list;
  for (const Case& c : cases) {
    NotesNoteRow row;
    row.id = c.id;
    row.uuid = c.uuid;
    row.title = c.title;
    row.noteDataPK = c.noteDataPK;
    if (c.created) row.createdAt = at(*c.created);
    if (c.modified) row.modifiedAt = at(*c.modified);
    row.isPasswordProtected = c.key == 12;
    list.add(row);
  }
  // What the notes keep must outlive the list they were made in.
  std::vector<LibraryExportNote> notes = std::move(list.notes());
  const LibraryExportNoteTexts texts = list.takeTexts();
  list = {};
  ASSERT_EQ(notes.size(), std::size(cases));
  for (size_t i = 0; i < notes.size(); ++i) {
    const Case& c = cases[i];
    const LibraryExportNote& note = notes[i];
    EXPECT_EQ(note.id().text(), c.id);
    EXPECT_EQ(note.key(), c.key) << c.id;
    const std::optional<UuidBytes> bytes = parseUuidBytes(c.uuid);
    EXPECT_EQ(note.uuid().text(), bytes ? LibraryExportNoteUuid(*bytes).text() : c.uuid) << c.id;
    EXPECT_EQ(note.title(), c.title) << c.id;
    EXPECT_EQ(note.noteDataPK(), c.noteDataPK) << c.id;
    EXPECT_EQ(note.createdAt(), c.created ? std::optional(at(*c.created)) : std::nullopt) << c.id;
    EXPECT_EQ(note.modifiedAt(), c.modified ? std::optional(at(*c.modified)) : std::nullopt) << c.id;
    EXPECT_EQ(note.locked, c.key == 12) << c.id;
  }
}

// Whether notes read once the program's table of shared id parts is full
// give back their ids, keeping the shared part themselves.
bool idsReadWithTheTableFull() {
  for (int i = 0; SharedIdParts::program().number("filler " + std::to_string(i)) != SharedIdParts::kNone;)
    ++i;
  LibraryExportNoteList list;
  const std::string ids[] = {"x-coredata://Z/ICNote/p5", "x-coredata://Z/ICNote/p05"};
  for (const std::string& id : ids) {
    NotesNoteRow row;
    row.id = id;
    row.uuid = "not usual";
    row.title = "Title";
    list.add(row);
  }
  bool same = true;
  for (size_t i = 0; i < std::size(ids); ++i) {
    const LibraryExportNote& note = list.notes()[i];
    same = same && note.id().text() == ids[i] && note.uuid().text() == "not usual" && note.title() == "Title";
  }
  return same;
}

// Run apart, as it fills the program's table for good.
TEST(LibraryExportNote, KeepsItsIdsSharedPartWhereItCannotBeNumbered) {
  EXPECT_EXIT(std::exit(idsReadWithTheTableFull() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

// Two lists read at once and joined: every note keeps its folder and texts.
TEST(LibraryExportNoteList, AppendedNotesKeepTheirFoldersAndTexts) {
  LibraryExportNoteList parts[2];
  for (int i = 0; i < 6; ++i) {
    NotesNoteRow row;
    row.id = "x-coredata://S/ICNote/p" + std::to_string(i);
    row.title = "Note " + std::to_string(i);
    row.folderID = i == 0 || i == 4 ? "A" : "B";  // numbered apart in the two lists
    row.folderName = row.folderID;
    parts[i / 3].add(row);
  }
  parts[0].append(std::move(parts[1]));
  const std::vector<LibraryExportNote>& notes = parts[0].notes();
  ASSERT_EQ(notes.size(), 6u);
  ASSERT_EQ(parts[0].folders().size(), 2u);
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(notes[i].id().text(), "x-coredata://S/ICNote/p" + std::to_string(i));
    EXPECT_EQ(notes[i].title(), "Note " + std::to_string(i));
    EXPECT_EQ(parts[0].folders()[notes[i].folder].id, i == 0 || i == 4 ? "A" : "B");
  }
}

}  // namespace
}  // namespace zephyl::notes_store
