#include "editor/note_template_service.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "editor/slash_command_session.h"
#include "notes_store/fixtures/note_document_writer.h"
#include "notes_store/fixtures/notes_library_builder.h"
#include "notes_store/notes_database_error.h"
#include "platform/linux/posix_file_system.h"
#include "platform/testing/fake_notes_database_grant.h"
#include "platform/testing/fake_script_runner.h"
#include "platform/testing/test_folder.h"

namespace zephyl::editor {
namespace {

namespace fs = std::filesystem;
using notes_store::NotesLibraryBuilder;
using platform::testing::FakeNotesDatabaseGrant;
using platform::testing::FakeScriptRunner;

std::string styledBody() {
  using notes_store::NoteRunSpec;
  notes_store::NoteParagraphStyleSpec title{.style = notes_store::NoteParagraphStyle::kTitle};
  notes_store::NoteParagraphStyleSpec bullet{.style = notes_store::NoteParagraphStyle::kDashedList};
  return notes_store::gzipCompress(notes_store::encodeNoteDocument({
      NoteRunSpec{.text = "Weekly\n", .paragraph = title},
      NoteRunSpec{.text = "Due: "},
      NoteRunSpec{.text = "{{date}}", .fontWeight = 1},
      NoteRunSpec{.text = " <soon>\n"},
      NoteRunSpec{.text = "one\ntwo\n", .paragraph = bullet},
  }));
}

class NoteTemplateServiceTest : public ::testing::Test {
 protected:
  // A root "Templates" folder with a styled note and an untitled one, a nested
  // "Templates" folder and a deleted root one, whose notes never appear.
  void writeLibrary(double weeklyModified = 200) {
    NotesLibraryBuilder builder;
    const auto account = builder.addAccount({.name = "iCloud"});
    const auto root = builder.addFolder({.title = "Templates", .owner = account, .account7 = account});
    const auto projects = builder.addFolder({.title = "Projects", .owner = account, .account7 = account});
    const auto nested = builder.addFolder({.title = "Templates", .parent = projects, .account7 = account});
    const auto deleted =
        builder.addFolder({.title = "templates", .account7 = account, .markedForDeletion = 1});
    builder.addNote({.title = "Weekly",
                     .folder = root,
                     .account7 = account,
                     .snippet = "Due",
                     .modifiedAt = weeklyModified,
                     .bodyData = styledBody()});
    untitledKey_ = builder.addNote(
        {.title = "",
         .folder = root,
         .account7 = account,
         .modifiedAt = 100,
         .bodyData = notes_store::gzipCompress(notes_store::encodeNoteDocument({{.text = "plain"}}))});
    builder.addNote({.title = "Nested", .folder = nested, .account7 = account, .modifiedAt = 300});
    builder.addNote({.title = "Gone", .folder = deleted, .account7 = account, .modifiedAt = 300});
    builder.addNote({.title = "Plan", .folder = projects, .account7 = account, .modifiedAt = 300});
    storeUUID_ = builder.storeUUID();
    fs::remove(path_);
    builder.write(path_);
  }

  platform::testing::TestFolder folder_;
  std::string path_ = folder_.file("NoteStore.sqlite");
  std::string storeUUID_;
  int64_t untitledKey_ = 0;
  platform::PosixFileSystem files_;
  FakeNotesDatabaseGrant grant_{path_};
  notes_store::NotesDatabaseAccess access_{grant_, files_, "/home/nobody"};
};

// The description of the NoteTemplateServiceError that `action` throws.
std::string failureOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const NoteTemplateServiceError& error) {
    return error.description();
  }
  return "no error";
}

TEST_F(NoteTemplateServiceTest, ListsRootTemplatesFoldersOnlyWithDecodedBodiesAndRereadsOnlyAChange) {
  writeLibrary();
  NoteTemplateService service(&access_, nullptr);
  const auto& templates = service.synchronize();
  ASSERT_EQ(templates.size(), 2u);
  EXPECT_EQ(templates[0].title, "Weekly");  // newest first
  EXPECT_EQ(templates[0].summary, "Due");
  EXPECT_EQ(templates[0].folderName, "Templates");
  EXPECT_EQ(templates[0].accountName, "iCloud");
  EXPECT_EQ(
      templates[0].htmlBody,
      "<h1>Weekly</h1>\n<div>Due: <b>{{date}}</b> &lt;soon&gt;</div>\n<ul><li>one</li><li>two</li></ul>\n");
  EXPECT_EQ(templates[1].displayTitle, "Untitled Template");
  EXPECT_EQ(templates[1].noteID, "x-coredata://" + storeUUID_ + "/ICNote/p" + std::to_string(untitledKey_));
  EXPECT_EQ(templates[1].htmlBody, "<div>plain</div>\n");
  EXPECT_EQ(grant_.openScopes(), 0);

  service.synchronize();
  EXPECT_EQ(service.fullReads(), 1);
  writeLibrary(/*weeklyModified=*/50);  // Weekly is now older than the untitled note
  EXPECT_EQ(service.synchronize()[0].displayTitle, "Untitled Template");
  EXPECT_EQ(service.fullReads(), 2);
}

TEST_F(NoteTemplateServiceTest, FailedReadsKeepTheCachedListAndSayWhy) {
  writeLibrary();
  FakeScriptRunner scripts;
  NoteTemplateService service(&access_, &scripts);
  ASSERT_EQ(service.synchronize().size(), 2u);

  // A file that is no database: the script fallback fails too, the database error is reported.
  fs::remove(path_);
  std::ofstream(path_) << "not a database at all, just text that SQLite will refuse to read";
  scripts.setFailure(ScriptError(ScriptError::Code::kUnavailable));
  EXPECT_THROW(service.synchronize(), notes_store::NotesDatabaseError);
  EXPECT_EQ(service.templates().size(), 2u);

  // No database: the script fallback's own error is reported.
  fs::remove(path_);
  scripts.setFailure(ScriptError(ScriptError::Code::kExecutionFailed, "Notes got an error: timed out"));
  EXPECT_EQ(failureOf([&] { service.synchronize(); }),
            "Apple Notes returned an error: Notes got an error: timed out");
  EXPECT_EQ(service.templates().size(), 2u);

  // No database and no scripting on this system: ask for database access.
  scripts.setFailure(ScriptError(ScriptError::Code::kUnavailable));
  EXPECT_EQ(failureOf([&] { service.synchronize(); }),
            "Grant Apple Notes database access in Settings to use templates.");
  NoteTemplateService noRunner(nullptr, nullptr);
  EXPECT_THROW(noRunner.fetchViaScript(), NoteTemplateServiceError);
}

TEST_F(NoteTemplateServiceTest, FallsBackToTheScriptWhenThereIsNoDatabase) {
  FakeScriptRunner scripts;
  scripts.queueResult(std::string("folder\x1F"
                                  "F1\x1FTemplates\x1FiCloud\x1E") +
                      "template\x1F"
                      "F1\x1FTemplates\x1FiCloud\x1Fn1\x1FStandup\x1F\x1F<div>{{time}}</div>");
  NoteTemplateService service(&access_, &scripts);
  const auto& templates = service.synchronize();
  ASSERT_EQ(templates.size(), 1u);
  EXPECT_EQ(templates[0].title, "Standup");
  ASSERT_EQ(scripts.runs().size(), 1u);
  EXPECT_EQ(scripts.runs()[0].taskLabel, "Template AppleScript fetch");
  EXPECT_EQ(scripts.runs()[0].source, NoteTemplateScripts::fetchScript());
}

TEST_F(NoteTemplateServiceTest, InstallReportsExistingOrCreatedAndScriptErrors) {
  FakeScriptRunner scripts;
  NoteTemplateService service(nullptr, &scripts);
  const auto& meeting = builtInNoteTemplates()[0];
  scripts.queueResult("created\n");
  scripts.queueResult("existing\n");
  scripts.queueResult("maybe");
  EXPECT_EQ(service.install(meeting), NoteTemplateScripts::InstallResult::kCreated);
  EXPECT_EQ(service.install(meeting), NoteTemplateScripts::InstallResult::kExisting);
  EXPECT_EQ(failureOf([&] { service.install(meeting); }),
            "Apple Notes returned an error: Unexpected result: maybe");
  EXPECT_EQ(scripts.runs()[0].source, NoteTemplateScripts::installScript(meeting));

  scripts.setFailure(ScriptError(ScriptError::Code::kExecutionFailed, std::string(kNoAccountMessage)));
  EXPECT_EQ(failureOf([&] { service.install(meeting); }),
            "Apple Notes returned an error: No Apple Notes account is available.");
}

TEST_F(NoteTemplateServiceTest, SlashSessionSynchronisesOncePerSessionAndRunsCommands) {
  writeLibrary();
  NoteTemplateService service(&access_, nullptr);
  const TemplateDateFormatter utc("UTC");
  SlashCommandSession session(service, utc);
  session.begin();
  EXPECT_EQ(session.rows("").size(), builtInSlashCommands().size() + 2);
  session.rows("wee");
  session.rows("");
  auto opens = [&] {
    const std::vector<std::string> events = grant_.events();
    return std::count_if(events.begin(), events.end(), [](const auto& e) { return e.starts_with("start:"); });
  };
  EXPECT_EQ(opens(), 1);
  session.begin();
  const auto rows = session.rows("weekly");
  EXPECT_EQ(opens(), 2);
  ASSERT_EQ(rows.size(), 1u);

  TemplateFormatSettings formats;
  formats.slashCommandDateFormat = TemplateDateFormat::kIsoDate;
  formats.templateDateFormat = TemplateDateFormat::kGermanDayMonthYear;
  const core::TimePoint now{std::chrono::seconds(1767625449)};  // 2026-01-05 15:04:09Z
  const auto paste = std::get<SlashCommandAction::PasteTemplate>(session.action(rows[0], now, formats).step);
  EXPECT_NE(paste.html.find("<b>05.01.2026</b>"), std::string::npos) << paste.html;
  const auto& commands = builtInSlashCommands();
  EXPECT_EQ(std::get<SlashCommandAction::TypeText>(session.action(commands[13], now, formats).step).text,
            "2026-01-05 15:04");
  EXPECT_EQ(
      std::get<SlashCommandAction::ApplyFormat>(session.action(commands[10], now, formats).step).command,
      NotesFormatCommand::kTable);
  EXPECT_TRUE(std::holds_alternative<SlashCommandAction::OpenAssistant>(
      session.action(commands[0], now, formats).step));

  fs::remove(path_);
  session.begin();
  EXPECT_EQ(session.rows("").size(), builtInSlashCommands().size() + 2);  // the cached list stays
  EXPECT_EQ(session.lastError(), "Grant Apple Notes database access in Settings to use templates.");
}

}  // namespace
}  // namespace zephyl::editor
