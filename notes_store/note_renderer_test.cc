#include "notes_store/note_renderer.h"

#include <gtest/gtest.h>

#include "notes_store/fixtures/note_document_writer.h"
#include "notes_store/fixtures/notes_library_builder.h"
#include "notes_store/notes_database_access.h"
#include "platform/linux/posix_file_system.h"
#include "platform/testing/fake_notes_database_grant.h"
#include "platform/testing/test_folder.h"

namespace zephyl::notes_store {
namespace {

std::string body(std::vector<NoteRunSpec> runs) { return gzipCompress(encodeNoteDocument(runs)); }

NoteRunSpec run(std::string text) {
  NoteRunSpec spec;
  spec.text = std::move(text);
  return spec;
}

NoteRunSpec attachment(std::string identifier) {
  NoteRunSpec spec = run("\xEF\xBF\xBC");
  spec.attachmentIdentifier = std::move(identifier);
  spec.attachmentTypeUTI = "com.apple.notes.table";
  return spec;
}

class NoteRendererTest : public ::testing::Test {
 protected:
  void SetUp() override {
    NotesLibraryBuilder builder;
    const int64_t folder = builder.addFolder({.title = "Notes"});
    NoteRunSpec link = run("other");
    link.link = "applenotes:note/OTHER-UUID";
    tables_ = builder.addNote({.title = "Tables",
                               .folder = folder,
                               .bodyData = body({run("Tables\nSee "), link, run("\n"), attachment("GOOD"),
                                                 run("\n"), attachment("BROKEN")})});
    builder.addAttachment({.note = tables_,
                           .identifier = "GOOD",
                           .typeUTI = "com.apple.notes.table",
                           .mergeableData1 = gzipCompress(encodeTableDocument({{"a", "b"}, {"1", "2"}}))});
    builder.addAttachment({.note = tables_,
                           .identifier = "BROKEN",
                           .typeUTI = "com.apple.notes.table",
                           .mergeableData1 = std::string("not a table")});
    locked_ = builder.addNote({.title = "Secret",
                               .folder = folder,
                               .passwordProtected = true,
                               .bodyData = std::string("\x01\x02 encrypted")});
    bare_ = builder.addNote({.title = "Bare", .folder = folder, .snippet = "only a preview"});
    store_ = builder.storeUUID();
    path_ = folder_.path() + "/NoteStore.sqlite";
    builder.write(path_);
  }

  std::optional<RenderedNote> render(int64_t key, const NoteRenderOptions& options = {}) {
    platform::testing::FakeNotesDatabaseGrant grant(path_);
    NotesDatabaseAccess access(grant, disk_, "/home/nobody");
    return *access.withDatabase([&](auto& connection) { return renderNote(connection, key, options); });
  }

  platform::testing::TestFolder folder_;
  std::string path_;
  platform::PosixFileSystem disk_;
  std::string store_;
  int64_t tables_ = 0;
  int64_t locked_ = 0;
  int64_t bare_ = 0;
};

TEST_F(NoteRendererTest, RendersTablesLinksAndCountsUnreadableTables) {
  NoteRenderOptions options;
  options.noteLinkTarget = [](std::string_view identifier) -> std::optional<std::string> {
    return identifier == "OTHER-UUID" ? std::optional<std::string>("other.md") : std::nullopt;
  };
  const auto note = render(tables_, options);
  ASSERT_TRUE(note.has_value());
  EXPECT_EQ(note->id, "x-coredata://" + store_ + "/ICNote/p" + std::to_string(tables_));
  EXPECT_FALSE(note->locked || note->overLimit || note->fromTitleAndPreview);
  EXPECT_NE(note->markdown.find("[other](other.md)"), std::string::npos) << note->markdown;
  EXPECT_NE(note->markdown.find("| a | b |"), std::string::npos) << note->markdown;
  EXPECT_EQ(note->tablesUnreadable, 1u);
  EXPECT_TRUE(note->document.has_value());
}

TEST_F(NoteRendererTest, LockedBareAndMissingNotes) {
  const auto locked = render(locked_);
  ASSERT_TRUE(locked.has_value());
  EXPECT_TRUE(locked->locked);
  EXPECT_EQ(locked->title, "Secret");
  EXPECT_TRUE(locked->markdown.empty());
  EXPECT_FALSE(locked->document.has_value());

  const auto bare = render(bare_);
  ASSERT_TRUE(bare.has_value());
  EXPECT_TRUE(bare->fromTitleAndPreview);
  EXPECT_EQ(bare->markdown, "# Bare\n\nonly a preview\n");

  EXPECT_EQ(render(bare_ + 1000), std::nullopt);
}

}  // namespace
}  // namespace zephyl::notes_store
