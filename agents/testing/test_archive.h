// Archives built in memory for tests of agent installs, hostile ones included
// (entries that climb out, links out, device files). Test use only.
#pragma once

#include <string>
#include <vector>

namespace zephyl::agents::testing {

struct TestArchiveEntry {
  enum class Kind { kFile, kDirectory, kSymlink, kHardlink, kCharacterDevice };
  std::string path;  // written as given, "../x" and "/x" included
  Kind kind = Kind::kFile;
  std::string contents;  // a file's bytes, or a link's target
  int mode = 0644;
};

enum class TestArchiveFormat { kTarGzip, kZip };

// The archive's bytes. Throws std::runtime_error when libarchive refuses.
std::string makeTestArchive(const std::vector<TestArchiveEntry>& entries,
                            TestArchiveFormat format = TestArchiveFormat::kTarGzip);

}  // namespace zephyl::agents::testing
