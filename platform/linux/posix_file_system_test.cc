#include "platform/linux/posix_file_system.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include "core/file_system_error.h"
#include "platform/testing/test_folder.h"

namespace zephyl::platform {
namespace {

namespace fs = std::filesystem;

TEST(PosixFileSystem, AtomicWriteCreatesFoldersReplacesAndLeavesNoTemporaries) {
  const fs::path root = fs::path(::testing::TempDir()) / ("zephyl-posix-" + std::to_string(::getpid()));
  fs::remove_all(root);
  PosixFileSystem files;
  const std::string path = (root / "a" / "b" / "settings.json").string();

  EXPECT_EQ(files.readFile(path), std::nullopt);
  EXPECT_EQ(files.viewFile(path), nullptr);
  EXPECT_FALSE(files.fileExists(path));
  files.writeFileAtomically(path, "first");
  files.replaceFile(path, std::string("second\0with nul", 15));
  EXPECT_EQ(files.readFile(path), std::string("second\0with nul", 15));

  // More pieces than one writev takes; a version holds until the file is replaced.
  const std::unique_ptr<core::FileVersion> before = files.fileVersion(path);
  ASSERT_TRUE(before && before->sameAs(*files.fileVersion(path)));
  std::vector<std::string> numbers;
  std::string joined;
  for (int i = 0; i < 3000; ++i) joined += numbers.emplace_back(std::to_string(i));
  files.writePiecesAtomically(path, std::vector<std::string_view>(numbers.begin(), numbers.end()));
  EXPECT_EQ(files.readFile(path), joined);
  // Made as it is written, across the chunks it is written in.
  const std::string large(700 * 1024, 'x');
  files.writeStreamAtomically(path, [&](const auto& piece) {
    for (const std::string& part : {large, joined, large}) piece(part);
  });
  EXPECT_EQ(files.readFile(path), large + joined + large);
  files.writePiecesAtomically(path, std::vector<std::string_view>(numbers.begin(), numbers.end()));
  EXPECT_FALSE(before->sameAs(*files.fileVersion(path)));
  EXPECT_EQ(files.fileVersion((root / "missing").string()), nullptr);
  EXPECT_TRUE(files.fileExists(path));
  EXPECT_FALSE(files.isDirectory(path));
  EXPECT_TRUE(files.isDirectory((root / "a").string()));
  size_t entries = 0;
  for ([[maybe_unused]] const auto& entry : fs::directory_iterator(root / "a" / "b")) ++entries;
  EXPECT_EQ(entries, 1u);
  // A mapped view keeps the bytes it was made from when the file is replaced.
  const auto view = files.viewFile(path);
  files.replaceFile(path, "");
  EXPECT_EQ(view->bytes(), joined);
  EXPECT_EQ(files.viewFile(path)->bytes(), "");
  // Pages given back come again from the file the view was made from.
  std::string pages;
  for (int i = 0; i < 5 * 4096; ++i) pages += static_cast<char>('a' + i % 26);
  files.replaceFile(path, pages);
  const auto paged = files.viewFile(path);
  files.replaceFile(path, "");
  paged->doneWith(pages.size());
  EXPECT_EQ(paged->bytes(), pages);

  // Never over a link, whether it points at a file or nowhere; over a file, yes.
  const std::string link = (root / "a" / "link.md").string();
  fs::create_symlink(path, link);
  EXPECT_FALSE(files.replaceFileUnlessLink(link, {"not", " written"}));
  fs::remove(link);
  fs::create_symlink(root / "nowhere", link);
  EXPECT_FALSE(files.replaceFileUnlessLink(link, {"not written"}));
  EXPECT_FALSE(files.isRegularFile(link));
  EXPECT_FALSE(fs::exists(root / "nowhere"));
  fs::remove(link);
  EXPECT_TRUE(files.replaceFileUnlessLink(link, {"new", " file"}));
  EXPECT_TRUE(files.replaceFileUnlessLink(link, {"replaced"}));
  EXPECT_EQ(files.readFile(link), "replaced");
  EXPECT_TRUE(files.isRegularFile(link));
  EXPECT_FALSE(files.isRegularFile((root / "a").string()));
  fs::create_symlink(link, root / "a" / "link to a file");
  fs::create_directory(root / "a" / "folder");
  EXPECT_EQ(files.listRegularFiles((root / "a").string()), std::vector<std::string>{"link.md"});
  EXPECT_TRUE(files.listRegularFiles((root / "missing").string()).empty());
  fs::remove(link);

  // A folder in the way of the file fails cleanly.
  fs::create_directories(root / "dir.json");
  EXPECT_THROW(files.writeFileAtomically((root / "dir.json").string(), "x"), core::FileSystemError);
  EXPECT_THROW(files.readFile((root / "dir.json").string()), core::FileSystemError);
  EXPECT_THROW(files.viewFile((root / "dir.json").string()), core::FileSystemError);
  fs::remove_all(root);
}

// The id of a process that has ended.
pid_t endedProcess() {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(0);
  ::waitpid(child, nullptr, 0);
  return child;
}

TEST(PosixFileSystem, RemovesTemporaryFilesOfEndedProcessesOnlyAndNeverThroughLinks) {
  testing::TestFolder folder;
  testing::TestFolder outside;
  const fs::path root = folder.path();
  const std::string dead = std::to_string(endedProcess());
  const std::string alive = std::to_string(::getpid());
  fs::create_directories(root / "sub");
  fs::create_directory_symlink(outside.path(), root / "link");
  const struct {
    fs::path path;
    bool removed;
  } cases[] = {
      {root / ("a.md.tmp-" + dead + "-0"), true},
      {root / "sub" / (".zephyl-export.json.tmp-" + dead + "-17"), true},
      {root / ("a.md.tmp-" + alive + "-0"), false},  // may still be renamed into place
      {root / ("a.md.tmp-" + dead + "-x"), false},   // not a name writes make
      {root / ("a.md.tmp-" + dead), false},
      {root / "notes.tmp-file.md", false},
      {fs::path(outside.path()) / ("b.md.tmp-" + dead + "-1"), false},  // reached only through the link
  };
  for (const auto& entry : cases) std::ofstream(entry.path) << "x";

  PosixFileSystem files;
  files.removeStaleTemporaryFiles(root.string());
  for (const auto& entry : cases) EXPECT_EQ(fs::exists(entry.path), !entry.removed) << entry.path;
  // What is left, as one pass over the tree sees it: the linked folder is not entered.
  std::map<std::string, std::set<std::string>> left;
  files.forEachFolderBelow(root.string(), [&](core::FolderListing& listing) {
    std::set<std::string>& names = left[listing.folder];
    for (const std::string_view name : listing.files) names.emplace(name);
  });
  const std::map<std::string, std::set<std::string>> expected{
      {"", {"a.md.tmp-" + alive + "-0", "a.md.tmp-" + dead + "-x", "a.md.tmp-" + dead, "notes.tmp-file.md"}},
      {"sub", {}}};
  EXPECT_EQ(left, expected);
  size_t missing = 0;
  files.forEachFolderBelow((root / "missing").string(), [&](core::FolderListing&) { ++missing; });
  EXPECT_EQ(missing, 0u);
  EXPECT_TRUE(files.isSymbolicLink((root / "link").string()));
  EXPECT_FALSE(files.isSymbolicLink((root / "sub").string()));
}

}  // namespace
}  // namespace zephyl::platform
