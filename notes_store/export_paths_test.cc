#include "notes_store/export_paths.h"

#include <gtest/gtest.h>

namespace zephyl::notes_store {
namespace {

TEST(ExportPaths, NamesAreSafeOnEverySystem) {
  const std::pair<std::string, std::string> cases[] = {
      {"Plan: Q1/Q2 <draft>?", "Plan- Q1-Q2 -draft--"},
      {"a\\b|c*d\"e", "a-b-c-d-e"},
      {"tabs\tand\nlines", "tabs-and-lines"},
      {"  padded . . ", "padded"},
      {"..", "Untitled"},
      {"", "Untitled"},
      {"   ", "Untitled"},
      {"CON", "CON_"},
      {"nul.txt", "nul_.txt"},
      {"com7", "com7_"},
      {"Console", "Console"},
      {"Café 日本語 🚀", "Café 日本語 🚀"},
      {"soft\xE2\x80\xA8"
       "break",
       "soft break"},
      {"obj\xEF\xBF\xBC", "obj"},
  };
  for (const auto& [title, expected] : cases) {
    EXPECT_EQ(safePathComponent(title, "Untitled"), expected) << title;
  }
  // Cut at a character boundary, never inside one.
  const std::string longTitle = std::string(118, 'a') + "日本";
  EXPECT_EQ(safePathComponent(longTitle, "Untitled"), std::string(118, 'a'));
}

TEST(ExportPaths, UniqueRegardlessOfCaseAndUnicodeForm) {
  ExportPathAllocator allocator;
  EXPECT_EQ(allocator.allocate("Work", "Plan", ".md"), "Work/Plan.md");
  EXPECT_EQ(allocator.allocate("Work", "plan", ".md"), "Work/plan (2).md");
  EXPECT_EQ(allocator.allocate("work", "PLAN", ".md"), "work/PLAN (3).md");  // same folder on macOS
  EXPECT_EQ(allocator.allocate("Other", "Plan", ".md"), "Other/Plan.md");
  // "é" composed and decomposed name the same file on macOS.
  EXPECT_EQ(allocator.allocate("", "Caf\xC3\xA9", ".md"), "Café.md");
  EXPECT_EQ(allocator.allocate("", "Cafe\xCC\x81", ".md"), "Cafe\xCC\x81 (2).md");
  // Twins go on from the number the last one reached, past names reserved earlier.
  allocator.reserve("Twins/Plan (3).md", "old");
  const std::string twins[] = {"Twins/Plan.md", "Twins/Plan (2).md", "Twins/Plan (4).md",
                               "Twins/Plan (5).md"};
  for (const std::string& expected : twins) EXPECT_EQ(allocator.allocate("Twins", "Plan", ".md"), expected);
  // Earlier files keep their names from folders named after them, and the
  // Markdown files set apart for speed still count once a note needs a name.
  allocator.reserve("Mixed/Plan.md", "old1");
  allocator.reserve("Mixed/Notes", "old2");
  allocator.reserve("Mixed/Caf\xC3\xA9.md", "old3");
  EXPECT_EQ(allocator.allocate("Mixed", "notes", ""), "Mixed/notes (2)");
  EXPECT_EQ(allocator.allocate("Mixed", "PLAN.MD", ""), "Mixed/PLAN.MD (2)");
  EXPECT_EQ(allocator.allocate("Mixed", "Cafe\xCC\x81.md", ""), "Mixed/Cafe\xCC\x81.md (2)");
  EXPECT_EQ(allocator.allocate("Mixed", "Plan", ".md"), "Mixed/Plan (2).md");
  // A claim keeps its owner; the same owner may claim again. A name handed out is no one's to claim.
  EXPECT_TRUE(allocator.claim("Work/Notes.md", "n1"));
  EXPECT_TRUE(allocator.claim("Work/Notes.md", "n1"));
  EXPECT_FALSE(allocator.claim("WORK/notes.MD", "n9"));
  EXPECT_FALSE(allocator.claim("Work/Plan.md", "n1"));
}

TEST(ExportPaths, RelativeLinksBetweenFolders) {
  EXPECT_EQ(relativeLink("Work", "Work/Plan.md"), "Plan.md");
  EXPECT_EQ(relativeLink("Work/Sub", "Work/Plan.md"), "../Plan.md");
  EXPECT_EQ(relativeLink("", "Work/Plan.md"), "Work/Plan.md");
  EXPECT_EQ(relativeLink("A/B", "C/D/E.md"), "../../C/D/E.md");
  EXPECT_EQ(relativeLink("A", "Top.md"), "../Top.md");
}

}  // namespace
}  // namespace zephyl::notes_store
