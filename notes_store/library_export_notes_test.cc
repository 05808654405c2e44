#include "notes_store/library_export_notes.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>

namespace zephyl::notes_store {
namespace {

constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
using Micros = std::optional<int64_t>;

std::optional<core::TimePoint> at(Micros micros) {
  if (!micros) return std::nullopt;
  return core::TimePoint(std::chrono::microseconds(*micros));
}

NotesNoteRow row(std::string id, std::string uuid, std::string title) {
  NotesNoteRow row;
  row.id = std::move(id);
  row.uuid = std::move(uuid);
  row.title = std::move(title);
  return row;
}

// A note gives back what its row held, whichever of its texts it keeps as
// they were and whichever it makes again; and they outlive the list.
TEST(LibraryExportNote, GivesBackWhatItsRowHeld) {
  struct Case {
    std::string id, uuid, title;
    int64_t key;
    std::optional<int64_t> noteDataPK;
    Micros created, modified;
  };
  const Case cases[] = {
      {"x-coredata://S/ICNote/p12", "2C6D8E2F-0A1B-4C5D-9E8F-A0B1C2D3E4F5", "Plan", 12, 7, 1, 2},
      {"x-coredata://S/ICNote/p0", "2c6d8e2f-0a1b-4c5d-9e8f-a0b1c2d3e4f5", "", 0, {}, {}, 5},
      {"x-coredata://S/ICNote/p007", "{2C6D8E2F-0A1B-4C5D-9E8F-A0B1C2D3E4F5}", "Zeros", 7, kMax, kMin, kMax},
      {"x-coredata://S/ICNote/p-5", "", std::string(200, 't'), -5, 0, -1, {}},
      {"x-coredata://S/ICNote/p9223372036854775807", "TABLE-1", "Largest", kMax, kMin, 0, 0},
      {"x-coredata://S/ICNote/p99999999999999999999", "x", "Too large", 0, 1, 1, 1},
      {"x-coredata://T/ICNote/p3", "0F0E0D0C-0000-4000-8000-00000000AAAA", "Another store", 3, 3, 3, 3},
      {"no number", "u", std::string(70000, 'l'), 0, {}, {}, {}},
      {"", "", "", 0, {}, {}, {}},
  };
  LibraryExportNoteList list;
  for (const Case& c : cases) {
    NotesNoteRow note = row(c.id, c.uuid, c.title);
    note.noteDataPK = c.noteDataPK;
    note.createdAt = at(c.created);
    note.modifiedAt = at(c.modified);
    list.add(note);
  }
  std::vector<LibraryExportNote> notes = std::move(list.notes());
  const LibraryExportNoteTexts texts = list.takeTexts();
  list = {};
  ASSERT_EQ(notes.size(), std::size(cases));
  for (size_t i = 0; i < notes.size(); ++i) {
    const Case& c = cases[i];
    const std::optional<UuidBytes> bytes = parseUuidBytes(c.uuid);
    EXPECT_EQ(notes[i].id().text(), c.id);
    EXPECT_EQ(notes[i].key(), c.key) << c.id;
    EXPECT_EQ(notes[i].uuid().text(), bytes ? LibraryExportNoteUuid(*bytes).text() : c.uuid) << c.id;
    EXPECT_EQ(notes[i].title(), c.title) << c.id;
    EXPECT_EQ(notes[i].noteDataPK(), c.noteDataPK) << c.id;
    EXPECT_EQ(notes[i].createdAt(), at(c.created)) << c.id;
    EXPECT_EQ(notes[i].modifiedAt(), at(c.modified)) << c.id;
  }
}

// Whether notes read once the program's table of shared id parts is full
// give back their ids, keeping the shared part themselves.
bool idsReadWithTheTableFull() {
  for (int i = 0; SharedIdParts::program().number("filler " + std::to_string(i)) != SharedIdParts::kNone;)
    ++i;
  LibraryExportNoteList list;
  const std::string ids[] = {"x-coredata://Z/ICNote/p5", "x-coredata://Z/ICNote/p05"};
  for (const std::string& id : ids) list.add(row(id, "not usual", "Title"));
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

}  // namespace
}  // namespace zephyl::notes_store
