#include "notes_store/library_export_note_uuid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>

namespace zephyl::notes_store {
namespace {

std::string upper(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(),
                 [](unsigned char c) { return std::toupper(c); });
  return result;
}

// An export finds notes by UUID without telling case apart: what a UUID is
// kept as must read the same in capitals, and be kept as bytes only where the
// text comes back from them.
TEST(LibraryExportNoteUuid, KeepsTheUsualFormAsBytesAndAnythingElseAsText) {
  struct Case {
    std::string_view text;
    bool asBytes;
  };
  const Case cases[] = {
      {"2C6D8E2F-0A1B-4C5D-9E8F-A0B1C2D3E4F5", true},
      {"2c6d8e2f-0a1b-4c5d-9e8f-a0b1c2d3e4f5", true},
      {"2c6D8e2F-0A1b-4C5d-9E8f-A0b1C2d3E4f5", true},
      {"00000000-0000-0000-0000-000000000000", true},
      {"FFFFFFFF-FFFF-FFFF-FFFF-FFFFFFFFFFFF", true},
      {"{2C6D8E2F-0A1B-4C5D-9E8F-A0B1C2D3E4F5}", false},
      {"2C6D8E2F-0A1B-4C5D-9E8F-A0B1C2D3E4F", false},    // one digit short
      {"2C6D8E2F-0A1B-4C5D-9E8F-A0B1C2D3E4F56", false},  // one too many
      {"2C6D8E2F0A1B-4C5D-9E8F-A0B1C2D3E4F5-", false},   // a dash moved
      {"2C6D8E2F-0A1B-4C5D-9E8F-A0B1C2D3E4G5", false},   // not hex
      {"2C6D8E2F 0A1B 4C5D 9E8F A0B1C2D3E4F5", false},
      {"2C6D8E2F0A1B4C5D9E8FA0B1C2D3E4F50000", false},  // the right length, no dashes
      {"", false},
      {"TABLE-1", false},
  };
  for (const Case& c : cases) {
    const std::optional<UuidBytes> bytes = parseUuidBytes(c.text);
    EXPECT_EQ(bytes.has_value(), c.asBytes) << c.text;
    const LibraryExportNoteUuid kept = bytes ? LibraryExportNoteUuid(*bytes) : LibraryExportNoteUuid(c.text);
    if (c.asBytes) {
      EXPECT_EQ(kept.text(), upper(c.text));
    } else {
      EXPECT_EQ(kept.text(), c.text);
    }
  }
  const UuidBytes first = *parseUuidBytes("2C6D8E2F-0A1B-4C5D-9E8F-A0B1C2D3E4F5");
  EXPECT_EQ(first[0], 0x2C);
  EXPECT_EQ(first[4], 0x0A);
  EXPECT_EQ(first[15], 0xF5);
}

}  // namespace
}  // namespace zephyl::notes_store
