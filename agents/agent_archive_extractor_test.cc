#include "agents/agent_archive_extractor.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "agents/testing/test_archive.h"
#include "platform/testing/test_folder.h"

namespace zephyl::agents {
namespace {

namespace fs = std::filesystem;
using testing::makeTestArchive;
using testing::TestArchiveEntry;
using testing::TestArchiveFormat;
using Kind = TestArchiveEntry::Kind;
using Code = AgentArchiveError::Code;

class AgentArchiveExtractorTest : public ::testing::Test {
 protected:
  // Writes the archive beside a fresh "stage" folder and extracts it there.
  void extract(const std::string& bytes, const AgentArchiveLimits& limits = {}) {
    std::ofstream(folder_.file("archive"), std::ios::binary) << bytes;
    fs::create_directory(stage_);
    extractAgentArchive(folder_.file("archive"), stage_, limits);
  }

  // The extraction's error into a fresh stage, or nullopt when it succeeded.
  std::optional<Code> failureOf(const std::string& bytes, const AgentArchiveLimits& limits = {}) {
    fs::remove_all(stage_);
    try {
      extract(bytes, limits);
    } catch (const AgentArchiveError& error) {
      return error.code();
    }
    return std::nullopt;
  }

  std::string read(const std::string& relative) {
    return platform::testing::readFile(stage_ + "/" + relative);
  }

  platform::testing::TestFolder folder_;
  std::string stage_ = folder_.file("stage");
};

TEST_F(AgentArchiveExtractorTest, UnpacksFilesFoldersAndInsideLinksInBothFormats) {
  const std::vector<TestArchiveEntry> entries{
      {"./", Kind::kDirectory, "", 0755},
      {"./bin/", Kind::kDirectory, "", 0755},
      {"./bin/agent", Kind::kFile, "#!/bin/sh\necho hi\n", 04755},
      {"lib/libagent.so.1", Kind::kFile, "library", 0644},
      {"lib/libagent.so", Kind::kSymlink, "libagent.so.1", 0777},
      {"bin/lib", Kind::kSymlink, "../lib", 0777},
      {"lib/copy", Kind::kHardlink, "lib/libagent.so.1", 0644},
  };
  for (const TestArchiveFormat format : {TestArchiveFormat::kTarGzip, TestArchiveFormat::kZip}) {
    SCOPED_TRACE(format == TestArchiveFormat::kZip ? "zip" : "tar.gz");
    fs::remove_all(stage_);
    std::vector<TestArchiveEntry> inFormat = entries;
    if (format == TestArchiveFormat::kZip) inFormat.pop_back();  // zip has no hard links
    ASSERT_NO_THROW(extract(makeTestArchive(inFormat, format)));

    EXPECT_EQ(read("bin/agent"), "#!/bin/sh\necho hi\n");
    struct stat info {};
    ASSERT_EQ(::stat((stage_ + "/bin/agent").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0755u) << "executable kept, set-user-ID dropped";
    EXPECT_EQ(read("lib/libagent.so"), "library");
    EXPECT_EQ(read("bin/lib/libagent.so.1"), "library");
    if (format == TestArchiveFormat::kTarGzip) {
      EXPECT_EQ(read("lib/copy"), "library");
    }
  }
}

TEST_F(AgentArchiveExtractorTest, RefusesEntriesThatReachOutsideOrAreSpecial) {
  const std::string outside = folder_.file("escaped");
  struct Case {
    const char* name;
    std::vector<TestArchiveEntry> entries;
    Code code;
  };
  const std::vector<Case> cases{
      {"dot-dot entry", {{"bin/../../escaped", Kind::kFile, "x"}}, Code::kUnsafeEntry},
      {"absolute entry", {{outside, Kind::kFile, "x"}}, Code::kUnsafeEntry},
      {"absolute link", {{"escaped", Kind::kSymlink, outside}}, Code::kUnsafeEntry},
      {"link climbing out", {{"bin/escaped", Kind::kSymlink, "../../escaped"}}, Code::kUnsafeEntry},
      {"link out through another link",
       {{"a/b/up", Kind::kSymlink, "../.."}, {"a/b/escaped", Kind::kSymlink, "up/.."}},
       Code::kUnsafeEntry},
      {"hard link to outside", {{"copy", Kind::kHardlink, "../escaped"}}, Code::kUnsafeEntry},
      {"file written through an inside link",
       {{"real/", Kind::kDirectory, ""}, {"alias", Kind::kSymlink, "real"}, {"alias/file", Kind::kFile, "x"}},
       Code::kWriteFailed},
      {"device file", {{"dev/null", Kind::kCharacterDevice, ""}}, Code::kUnsafeEntry},
      {"backslash name", {{"..\\escaped", Kind::kFile, "x"}}, Code::kUnsafeEntry},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(failureOf(makeTestArchive(c.entries)), c.code) << c.name;
    EXPECT_FALSE(fs::exists(fs::symlink_status(outside))) << c.name;
  }
}

TEST_F(AgentArchiveExtractorTest, RefusesArchivesPastTheLimitsCountingInflatedBytesAndNonArchives) {
  const std::string bomb = makeTestArchive({{"zeros", Kind::kFile, std::string(1 << 20, '\0')}});
  EXPECT_LT(bomb.size(), 64u * 1024);
  const AgentArchiveLimits bytes{.maximumExtractedBytes = (1 << 20) - 1, .maximumEntries = 10};
  const AgentArchiveLimits entries{.maximumExtractedBytes = 2 << 20, .maximumEntries = 2};
  const std::string many =
      makeTestArchive({{"a", Kind::kFile, "1"}, {"b", Kind::kFile, "2"}, {"c", Kind::kFile, "3"}});

  EXPECT_EQ(failureOf(bomb, bytes), Code::kTooLarge);
  EXPECT_EQ(failureOf(many, entries), Code::kTooLarge);
  EXPECT_EQ(failureOf(bomb, {.maximumExtractedBytes = 1 << 20, .maximumEntries = 1}), std::nullopt);
  EXPECT_EQ(failureOf("<html>503 Service Unavailable</html>"), Code::kUnreadable);
}

}  // namespace
}  // namespace zephyl::agents
