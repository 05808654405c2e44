#include "platform/linux/proc_program_file_inspector.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace zephyl::platform {
namespace {

namespace fs = std::filesystem;

TEST(ProcProgramFileInspector, ReplacingAFileChangesItsIdentityAndAMissingFileHasNone) {
  ProcProgramFileInspector inspector;
  // The running test program is a real file with an identity.
  const std::string self = inspector.launchExecutablePath();
  ASSERT_FALSE(self.empty());
  EXPECT_TRUE(inspector.fileIdentity(self).has_value());

  const fs::path root = fs::path(::testing::TempDir()) / ("zephyl-exe-" + std::to_string(::getpid()));
  fs::remove_all(root);
  fs::create_directories(root);
  const fs::path program = root / "Zephyl";
  std::ofstream(program) << "old build";
  const auto before = inspector.fileIdentity(program.string());
  ASSERT_TRUE(before.has_value());
  // An installer writes the new build beside the old one and renames it over.
  std::ofstream(root / "Zephyl.new") << "new build";
  fs::rename(root / "Zephyl.new", program);
  const auto after = inspector.fileIdentity(program.string());
  ASSERT_TRUE(after.has_value());
  EXPECT_NE(*before, *after);

  fs::remove(program);
  EXPECT_EQ(inspector.fileIdentity(program.string()), std::nullopt);
  EXPECT_EQ(inspector.fileIdentity(""), std::nullopt);
  fs::remove_all(root);
}

}  // namespace
}  // namespace zephyl::platform
