#include "notes_store/library_exporter.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "core/file_system_error.h"
#include "notes_store/fixtures/note_document_writer.h"
#include "notes_store/fixtures/notes_library_builder.h"
#include "platform/linux/posix_file_system.h"
#include "platform/testing/fake_notes_database_grant.h"
#include "platform/testing/fault_injecting_file_system.h"
#include "platform/testing/in_memory_file_system.h"
#include "platform/testing/test_folder.h"

namespace zephyl::notes_store {
namespace {

namespace fs = std::filesystem;
using platform::testing::InMemoryFileSystem;

constexpr const char* kOut = "/export";
const std::string kTargetUUID = "0F0E0D0C-0000-4000-8000-00000000AAAA";

std::string body(std::vector<NoteRunSpec> runs) { return gzipCompress(encodeNoteDocument(runs)); }

NoteRunSpec title(std::string text) {
  NoteRunSpec run;
  run.text = std::move(text);
  run.paragraph = NoteParagraphStyleSpec{.style = NoteParagraphStyle::kTitle};
  return run;
}

NoteRunSpec plain(std::string text) {
  NoteRunSpec run;
  run.text = std::move(text);
  return run;
}

class LibraryExporterTest : public ::testing::Test {
 protected:
  void SetUp() override { fs::create_directories(directory_); }

  // iCloud › Work holds "Plan" (linking to "Target" in iCloud › Work › Deep), a
  // note named like it, a locked note and one without a body.
  void buildLibrary(double planModified = 100, std::string planTitle = "Plan", int moreNotes = 0) {
    NotesLibraryBuilder builder;
    const int64_t account = builder.addAccount({.name = "iCloud"});
    const int64_t work = builder.addFolder({.title = "Work", .owner = account});
    const int64_t deep = builder.addFolder({.title = "Deep: 1/2", .parent = work, .owner = account});
    NoteRunSpec link = plain("target");
    link.link = "applenotes:note/" + std::string("0f0e0d0c-0000-4000-8000-00000000aaaa");
    NoteRunSpec table = plain("\xEF\xBF\xBC");
    table.attachmentIdentifier = "TABLE-1";
    table.attachmentTypeUTI = "com.apple.notes.table";
    const int64_t plan = builder.addNote(
        {.title = planTitle,
         .folder = work,
         .account7 = account,
         .createdAt = 1,
         .modifiedAt = planModified,
         .bodyData = body({title(planTitle + "\n"), plain("See "), link, plain("\n"), table})});
    builder.addAttachment({.note = plan,
                           .identifier = "TABLE-1",
                           .typeUTI = "com.apple.notes.table",
                           .mergeableData1 = gzipCompress(encodeTableDocument({{"a", "b"}, {"1", "2"}}))});
    builder.addNote({.title = "plan",
                     .folder = work,
                     .account7 = account,
                     .createdAt = 2,
                     .modifiedAt = 50,
                     .bodyData = body({title("plan\n"), plain("lower case twin")})});
    builder.addNote({.title = "Target",
                     .identifier = kTargetUUID,
                     .folder = deep,
                     .account7 = account,
                     .createdAt = 3,
                     .modifiedAt = 60,
                     .bodyData = body({title("Target\n"), plain("here")})});
    builder.addNote({.title = "Secret",
                     .folder = work,
                     .account7 = account,
                     .passwordProtected = true,
                     .modifiedAt = 70,
                     .bodyData = std::string("\x01\x02 encrypted")});
    builder.addNote({.title = "Bare",
                     .folder = work,
                     .account7 = account,
                     .snippet = "only a preview",
                     .createdAt = 4,
                     .modifiedAt = 80});
    builder.addNote({.title = "Broken",
                     .folder = work,
                     .account7 = account,
                     .snippet = "a preview of an unreadable body",
                     .createdAt = 5,
                     .modifiedAt = 90,
                     .bodyData = std::string("not a note body")});
    for (int i = 0; i < moreNotes; ++i) {
      const std::string name = "Note " + std::to_string(i % 700);  // twins from the 701st on
      builder.addNote({.title = name,
                       .folder = i % 2 ? work : deep,
                       .account7 = account,
                       .createdAt = 10.0 + i,
                       .modifiedAt = 10.0 + i,
                       .bodyData = body({title(name + "\n"), plain("text " + std::to_string(i))})});
    }
    path_ = (directory_ / ("NoteStore-" + std::to_string(++libraries_) + ".sqlite")).string();
    builder.write(path_);
  }

  LibraryExportSummary runExport(bool force = false) { return runExportInto(files_, kOut, force); }

  LibraryExportSummary runExportInto(core::FileSystem& files, const std::string& out, bool force = false) {
    platform::testing::FakeNotesDatabaseGrant grant(path_);
    NotesDatabaseAccess access(grant, disk_, "/home/nobody");
    LibraryExportOptions options;
    options.directory = out;
    options.force = force;
    options.database = &access;
    return *access.withDatabase([&](auto& connection) { return exportLibrary(connection, files, options); });
  }

  // The code of the error that an export without --force ends with.
  std::optional<LibraryExportError::Code> refusal() {
    try {
      runExport();
    } catch (const LibraryExportError& error) {
      return error.code();
    }
    return std::nullopt;
  }

  std::string file(const std::string& relative) {
    return files_.contents(std::string(kOut) + "/" + relative).value_or("");
  }

  platform::testing::TestFolder folder_;
  fs::path directory_ = folder_.path();
  std::string path_;
  int libraries_ = 0;
  platform::PosixFileSystem disk_;
  InMemoryFileSystem files_;
};

TEST_F(LibraryExporterTest, WritesOneFilePerNoteThenRewritesOnlyChangedNotesAndKeepsNames) {
  buildLibrary();
  const LibraryExportSummary summary = runExport();
  EXPECT_EQ(summary.notes, 6u);
  EXPECT_EQ(summary.written, 5u);
  EXPECT_EQ(summary.lockedSkipped, 1u);
  EXPECT_EQ(summary.withoutBody, 2u);

  const std::string plan = file("iCloud/Work/Plan.md");
  EXPECT_TRUE(plan.starts_with("---\nid: \"x-coredata://")) << plan;
  EXPECT_NE(plan.find("title: \"Plan\"\ncreated: 2001-01-01T00:00:01Z\nmodified: 2001-01-01T00:01:40Z\n"
                      "folder: \"iCloud › Work\"\n---\n\n# Plan\n"),
            std::string::npos)
      << plan;
  EXPECT_NE(plan.find("See [target](Deep-%201-2/Target.md)"), std::string::npos) << plan;
  EXPECT_NE(plan.find("| a | b |\n| --- | --- |\n| 1 | 2 |"), std::string::npos) << plan;
  // Names differing only in case get their own files, the older note the plain name.
  EXPECT_NE(file("iCloud/Work/plan (2).md").find("lower case twin"), std::string::npos);
  EXPECT_NE(file("iCloud/Work/Deep- 1-2/Target.md").find("here"), std::string::npos);
  EXPECT_NE(file("iCloud/Work/Bare.md").find("# Bare\n\nonly a preview"), std::string::npos);
  EXPECT_NE(file("iCloud/Work/Broken.md").find("# Broken\n\na preview of an unreadable body"),
            std::string::npos);
  EXPECT_EQ(files_.contents(std::string(kOut) + "/iCloud/Work/Secret.md"), std::nullopt);
  const int writesAfterFirst = files_.writeCount();

  buildLibrary(/*planModified=*/200);
  const LibraryExportSummary second = runExport();
  EXPECT_EQ(second.written, 1u);
  EXPECT_EQ(second.unchanged, 4u);
  EXPECT_EQ(files_.writeCount() - writesAfterFirst, 2);  // the changed note and the manifest
  EXPECT_NE(file("iCloud/Work/Plan.md").find("modified: 2001-01-01T00:03:20Z"), std::string::npos);
  EXPECT_NE(file("iCloud/Work/plan (2).md").find("lower case twin"), std::string::npos);

  // A retitled note moves to its new name; the old file goes, no other note takes it.
  buildLibrary(/*planModified=*/300, "Renamed");
  const LibraryExportSummary third = runExport();
  EXPECT_EQ(third.renamed, 1u);
  EXPECT_EQ(files_.contents(std::string(kOut) + "/iCloud/Work/Plan.md"), std::nullopt);
  EXPECT_NE(file("iCloud/Work/Renamed.md").find("# Renamed"), std::string::npos);
  EXPECT_NE(file("iCloud/Work/plan (2).md").find("lower case twin"), std::string::npos);

  // A file gone from the folder is written again, under its name; the others stay.
  files_.removeFile(std::string(kOut) + "/iCloud/Work/plan (2).md");
  const LibraryExportSummary fourth = runExport();
  EXPECT_EQ(fourth.written, 1u);
  EXPECT_EQ(fourth.renamed, 0u);
  EXPECT_NE(file("iCloud/Work/plan (2).md").find("lower case twin"), std::string::npos);

  EXPECT_EQ(runExport(/*force=*/true).written, 5u);
}

TEST_F(LibraryExporterTest, RefusesFilesAndForeignFolders) {
  buildLibrary();
  files_.addFile(kOut, "a file");
  EXPECT_EQ(refusal(), LibraryExportError::Code::kNotADirectory);
  files_.removeFile(kOut);
  files_.addFile(std::string(kOut) + "/mine.txt", "user data");
  EXPECT_EQ(refusal(), LibraryExportError::Code::kFolderNotEmpty);
  EXPECT_EQ(runExport(/*force=*/true).written, 5u);
  EXPECT_EQ(file("mine.txt"), "user data");
}

// Every file below `directory` with its contents.
std::map<std::string, std::string> tree(core::FileSystem& files, const std::string& directory) {
  std::map<std::string, std::string> found;
  for (const std::string& name : files.listDirectory(directory)) {
    const std::string path = directory + "/" + name;
    if (files.isDirectory(path)) {
      found.merge(tree(files, path));
    } else {
      found[path] = files.readFile(path).value_or("");
    }
  }
  return found;
}

TEST_F(LibraryExporterTest, ManifestThatLeadsOutsideOrIsGarbageCountsAsForeign) {
  buildLibrary();
  runExport();
  const std::string manifestPath = std::string(kOut) + "/" + std::string(kExportManifestName);
  const std::string manifest = *files_.contents(manifestPath);
  const std::string planEntry = "\"iCloud/Work/Plan.md\"";
  ASSERT_NE(manifest.find(planEntry), std::string::npos) << manifest;
  auto planPointingAt = [&](const std::string& path) {
    std::string changed = manifest;
    changed.replace(changed.find(planEntry), planEntry.size(), "\"" + path + "\"");
    return changed;
  };
  const std::string cases[] = {planPointingAt("../victim.md"),
                               planPointingAt("iCloud/../../victim.md"),
                               planPointingAt("/victim.md"),
                               planPointingAt("iCloud//Plan.md"),
                               "not json at all",
                               "{\"version\": 1, \"notes\": 5}"};
  for (const std::string& contents : cases) {
    SCOPED_TRACE(contents.substr(0, 80));
    files_.addFile("/victim.md", "keep me");
    files_.addFile(manifestPath, contents);
    EXPECT_EQ(refusal(), LibraryExportError::Code::kFolderNotEmpty) << "trusted a foreign manifest";
    EXPECT_EQ(runExport(/*force=*/true).written, 5u);
    EXPECT_EQ(files_.contents("/victim.md"), "keep me");
    EXPECT_EQ(files_.contents("/export/victim.md"), std::nullopt);
  }
}

TEST_F(LibraryExporterTest, ExportStoppedAfterAnyWriteResumesToTheSameFolder) {
  // A library of one batch, stopped after each write; one of several batches,
  // stopped in the first, in the middle of another, and before the manifest.
  struct Case {
    int moreNotes;
    std::vector<int> stopAfter;
  };
  for (const Case& library : {Case{0, {0, 1, 2, 3, 4, 5, 6}}, Case{1200, {1, 700, 1204}}}) {
    buildLibrary(100, "Plan", library.moreNotes);
    InMemoryFileSystem uninterrupted;
    const LibraryExportSummary first = runExportInto(uninterrupted, kOut);
    EXPECT_EQ(first.written, first.notes - 1);                  // all but the locked note
    EXPECT_EQ(runExportInto(uninterrupted, kOut).written, 0u);  // and each of them recorded
    const auto expected = tree(uninterrupted, kOut);

    for (int writes : library.stopAfter) {
      SCOPED_TRACE(writes);
      InMemoryFileSystem disk;
      platform::testing::FaultInjectingFileSystem failing(disk, writes);
      try {
        runExportInto(failing, kOut);
      } catch (const core::FileSystemError&) {
        // The disk filled up; what was written stays, and says so.
      }
      const LibraryExportSummary resumed = runExportInto(disk, kOut);
      EXPECT_TRUE(resumed.skipped.empty());
      EXPECT_EQ(tree(disk, kOut), expected);
    }
  }
}

TEST_F(LibraryExporterTest, UnwritableOrLinkedEntriesSkipOnlyTheirNotes) {
  buildLibrary();
  const fs::path out = directory_ / "out";
  const fs::path outside = directory_ / "outside";
  fs::create_directories(out / "iCloud" / "Work");
  fs::create_directories(outside);
  // A file where the folder of "Target" must go, and a link that would lead
  // the other notes of iCloud › Work outside.
  std::ofstream(out / "iCloud" / "Work" / "Deep- 1-2") << "in the way";
  fs::rename(out / "iCloud" / "Work", directory_ / "work-elsewhere");
  fs::create_directory_symlink(outside, out / "iCloud" / "Work");

  const LibraryExportSummary summary = runExportInto(disk_, out.string(), /*force=*/true);
  EXPECT_EQ(summary.written, 0u);
  ASSERT_EQ(summary.skipped.size(), 5u);
  for (const auto& skipped : summary.skipped) {
    EXPECT_TRUE(skipped.path.starts_with("iCloud/Work/")) << skipped.path;
    EXPECT_NE(skipped.reason.find("iCloud/Work"), std::string::npos) << skipped.reason;
  }
  EXPECT_TRUE(fs::is_empty(outside));

  // Without the link, the file in the way costs "Target" alone.
  fs::remove(out / "iCloud" / "Work");
  fs::rename(directory_ / "work-elsewhere", out / "iCloud" / "Work");
  const LibraryExportSummary second = runExportInto(disk_, out.string());
  EXPECT_EQ(second.written, 4u);
  ASSERT_EQ(second.skipped.size(), 1u);
  EXPECT_EQ(second.skipped[0].path, "iCloud/Work/Deep- 1-2/Target.md");
  EXPECT_FALSE(second.skipped[0].reason.empty());
}

}  // namespace
}  // namespace zephyl::notes_store
