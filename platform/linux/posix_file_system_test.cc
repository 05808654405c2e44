#include "platform/linux/posix_file_system.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "core/file_system_error.h"

namespace zephyl::platform {
namespace {

namespace fs = std::filesystem;

TEST(PosixFileSystem, AtomicWriteCreatesFoldersReplacesAndLeavesNoTemporaries) {
  const fs::path root = fs::path(::testing::TempDir()) / ("zephyl-posix-" + std::to_string(::getpid()));
  fs::remove_all(root);
  PosixFileSystem files;
  const std::string path = (root / "a" / "b" / "settings.json").string();

  EXPECT_EQ(files.readFile(path), std::nullopt);
  EXPECT_FALSE(files.fileExists(path));
  files.writeFileAtomically(path, "first");
  files.replaceFile(path, std::string("second\0with nul", 15));
  EXPECT_EQ(files.readFile(path), std::string("second\0with nul", 15));
  EXPECT_TRUE(files.fileExists(path));
  EXPECT_FALSE(files.isDirectory(path));
  EXPECT_TRUE(files.isDirectory((root / "a").string()));
  size_t entries = 0;
  for ([[maybe_unused]] const auto& entry : fs::directory_iterator(root / "a" / "b")) ++entries;
  EXPECT_EQ(entries, 1u);

  // A folder in the way of the file fails cleanly.
  fs::create_directories(root / "dir.json");
  EXPECT_THROW(files.writeFileAtomically((root / "dir.json").string(), "x"), core::FileSystemError);
  EXPECT_THROW(files.readFile((root / "dir.json").string()), core::FileSystemError);
  fs::remove_all(root);
}

}  // namespace
}  // namespace zephyl::platform
