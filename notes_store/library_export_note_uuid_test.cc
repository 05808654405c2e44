#include "notes_store/library_export_note_uuid.h"

#include <gtest/gtest.h>

namespace zephyl::notes_store {
namespace {

// An export finds notes by UUID without telling case apart: what a UUID is
// kept as must read the same in capitals, and be kept as bytes only where the
// text comes back from them.
TEST(LibraryExportNoteUuid, KeepsTheUsualFormAsBytesAndAnythingElseAsText) {
  constexpr std::string_view kUsual = "2C6D8E2F-0A1B-4C5D-9E8F-A0B1C2D3E4F5";
  const std::pair<std::string_view, std::string_view> keptAs[] = {
      {kUsual, kUsual},
      {"2c6d8e2f-0a1b-4c5d-9e8f-a0b1c2d3e4f5", kUsual},
      {"2c6D8e2F-0A1b-4C5d-9E8f-A0b1C2d3E4f5", kUsual},
      {"{2C6D8E2F-0A1B-4C5D-9E8F-A0B1C2D3E4F5}", ""},
      {"2C6D8E2F-0A1B-4C5D-9E8F-A0B1C2D3E4F", ""},    // one digit short
      {"2C6D8E2F-0A1B-4C5D-9E8F-A0B1C2D3E4F56", ""},  // one too many
      {"2C6D8E2F0A1B-4C5D-9E8F-A0B1C2D3E4F5-", ""},   // a dash moved
      {"2C6D8E2F-0A1B-4C5D-9E8F-A0B1C2D3E4G5", ""},   // not hex
      {"2C6D8E2F0A1B4C5D9E8FA0B1C2D3E4F50000", ""},   // the right length, no dashes
      {"", ""},
  };
  for (const auto& [text, asBytes] : keptAs) {
    const std::optional<UuidBytes> bytes = parseUuidBytes(text);
    EXPECT_EQ(bytes.has_value(), !asBytes.empty()) << text;
    EXPECT_EQ((bytes ? LibraryExportNoteUuid(*bytes) : LibraryExportNoteUuid(text)).text(),
              bytes ? asBytes : text);
  }
}

}  // namespace
}  // namespace zephyl::notes_store
