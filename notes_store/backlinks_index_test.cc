#include "notes_store/backlinks_index.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "notes_store/fixtures/note_document_writer.h"
#include "notes_store/fixtures/notes_library_builder.h"
#include "notes_store/notes_database_access.h"
#include "notes_store/notes_database_error.h"
#include "platform/linux/posix_file_system.h"
#include "platform/testing/fake_notes_database_grant.h"
#include "platform/testing/test_folder.h"

namespace zephyl::notes_store {
namespace {

std::string bodyLinkingTo(const std::string& link) {
  return gzipCompress(
      encodeNoteDocument({NoteRunSpec{.text = "see "}, NoteRunSpec{.text = "there", .link = link}}));
}

std::vector<std::string> sourceTitles(const std::vector<NoteBacklink>& backlinks) {
  std::vector<std::string> titles;
  for (const auto& backlink : backlinks) titles.push_back(backlink.sourceTitle);
  return titles;
}

class BacklinksIndexTest : public ::testing::Test {
 protected:
  // Builds the index of `builder`'s library, then checks that its snapshot's
  // transaction is closed, built or not: a transaction left open would make BEGIN fail.
  std::optional<BacklinksIndex> build(const NotesLibraryBuilder& builder) {
    const std::string path = folder_.file("NoteStore.sqlite");
    builder.write(path);
    platform::testing::FakeNotesDatabaseGrant grant(path);
    platform::PosixFileSystem files;
    NotesDatabaseAccess access(grant, files, "/home/nobody");
    return *access.withDatabase([](NotesDatabaseConnection& connection) {
      std::optional<BacklinksIndex> index;
      try {
        index = BacklinksIndex::build(connection);
      } catch (const NotesDatabaseError&) {
      }
      NotesDatabaseAccess::executeStatement(connection, "BEGIN DEFERRED");
      NotesDatabaseAccess::executeStatement(connection, "ROLLBACK");
      return index;
    });
  }

  platform::testing::TestFolder folder_;
};

TEST_F(BacklinksIndexTest, FindsLinksFromAttachmentsAndFromBodyRunsIgnoringCase) {
  NotesLibraryBuilder builder;
  const int64_t account = builder.addAccount({.name = "iCloud"});
  const int64_t work = builder.addFolder({.title = "Work", .owner = account});
  const int64_t trash = builder.addFolder({.title = "Recently Deleted", .owner = account, .folderType = 1});
  // A live note in Work, linking to `link` from its body when one is given.
  auto note = [&](std::string title, double modifiedAt, std::optional<std::string> link = std::nullopt,
                  std::optional<int64_t> markedForDeletion = 0) {
    return builder.addNote({.title = std::move(title),
                            .folder = work,
                            .account7 = account,
                            .markedForDeletion = markedForDeletion,
                            .modifiedAt = modifiedAt,
                            .bodyData = link ? std::optional(bodyLinkingTo(*link)) : std::nullopt});
  };
  const int64_t target = builder.addNote(
      {.title = "Target", .identifier = "AAAA-1111", .folder = work, .account7 = account, .modifiedAt = 1});
  const int64_t byAttachment = note("By attachment", 2);
  builder.addLink({.sourceNote = byAttachment, .tokenContentIdentifier = "applenotes:note/aaaa-1111"});
  builder.addLink({.sourceNote = byAttachment,
                   .tokenContentIdentifier = "applenotes:note/AAAA-1111",
                   .useTypeUti1 = true});  // the same link twice counts once
  note("By body", 3, "applenotes:note/Aaaa-1111?ownerIdentifier=x");
  note("Also body", 3, "APPLENOTES:NOTE/aaaa-1111");
  const int64_t deleted = note("Deleted source", 4, "applenotes:note/aaaa-1111", 1);
  builder.addLink({.sourceNote = deleted, .tokenContentIdentifier = "applenotes:note/aaaa-1111"});
  builder.addNote({.title = "Self",
                   .identifier = "SELF-1",
                   .folder = work,
                   .account7 = account,
                   .modifiedAt = 5,
                   .bodyData = bodyLinkingTo("applenotes:note/self-1")});
  note("Web", 6, "https://example.com/applenotes:note/aaaa-1111");
  note("Dangling", 7, "applenotes:note/no-such-note");
  note("Dead link", 8);
  builder.addLink({.sourceNote = target + 100, .tokenContentIdentifier = "applenotes:note/aaaa-1111"});
  builder.addNote({.title = "Target in trash",
                   .identifier = "TRASHED",
                   .folder = trash,
                   .account7 = account,
                   .markedForDeletion = 1,
                   .modifiedAt = 9});

  const BacklinksIndex index = *build(builder);
  const auto& backlinks = index.backlinksTo(target);
  EXPECT_EQ(sourceTitles(backlinks), (std::vector<std::string>{"Also body", "By attachment", "By body"}));
  EXPECT_EQ(backlinks[1].sourceKey, byAttachment);
  EXPECT_EQ(backlinks[1].sourceLocation, "iCloud › Work");
  EXPECT_EQ(backlinks[0].sourceLocation, "iCloud › Work");
  EXPECT_EQ(index.linkCount(), 3u);
  EXPECT_EQ(index.noteKeyForIdentifier("aaaa-1111"), target);
  EXPECT_FALSE(index.noteKeyForIdentifier("TRASHED").has_value());
  EXPECT_TRUE(index.backlinksTo(byAttachment).empty());
}

TEST_F(BacklinksIndexTest, FailedStatementRollsTheSnapshotBack) {
  // No ZICNOTEDATA: the candidate-body statement fails after BEGIN.
  NotesLibraryBuilder builder({.hasNoteDataTable = false});
  builder.addNote({.title = "Note", .folder = builder.addFolder({.title = "F"}), .modifiedAt = 1});
  EXPECT_FALSE(build(builder));
}

TEST(NoteLinkTargetIdentifier, ReadsOnlyNoteLinks) {
  const std::pair<std::string, std::optional<std::string>> cases[] = {
      {"applenotes:note/ABC-def", "abc-def"},
      {"AppleNotes:Note/ABC?ownerIdentifier=1", "abc"},
      {"applenotes:note/abc#frag", "abc"},
      {"applenotes:note/", std::nullopt},
      {"applenotes:folder/abc", std::nullopt},
      {"https://example.com", std::nullopt},
      {"", std::nullopt},
  };
  for (const auto& [link, expected] : cases) EXPECT_EQ(noteLinkTargetIdentifier(link), expected) << link;
}

}  // namespace
}  // namespace zephyl::notes_store
