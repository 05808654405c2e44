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

// Kept as bytes or as text, UUIDs are ordered as their texts are without
// telling case apart: notes sorted one way are found the other.
TEST(LibraryExportNoteUuid, OrdersAsTheTextsDoCaseAside) {
  const std::string_view texts[] = {
      "2C6D8E2F-0A1B-4C5D-9E8F-A0B1C2D3E4F5",
      "2c6d8e2f-0a1b-4c5d-9e8f-a0b1c2d3e4f6",
      "9C6D8E2F-0A1B-4C5D-9E8F-A0B1C2D3E4F5",
      "AC6D8E2F-0A1B-4C5D-9E8F-A0B1C2D3E4F5",
      "a06D8E2F-0A1B-4C5D-9E8F-A0B1C2D3E4F5",
      "2C6D8E2F-0A1B-4C5D-9E8F-A0B1C2D3E4F",
      "2C6D8E2F-0A1B-4C5D-9E8F-A0B1C2D3E4F5x",
      "b",
      "",
      "{2C6D8E2F}",
  };
  const auto upper = [](std::string_view text) {
    std::string out(text);
    for (char& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return out;
  };
  for (const std::string_view a : texts) {
    for (const std::string_view b : texts) {
      EXPECT_EQ(lessIgnoringCase(LibraryExportNoteUuid::read(a), LibraryExportNoteUuid::read(b)),
                upper(a) < upper(b))
          << a << " vs " << b;
    }
  }
}

}  // namespace
}  // namespace zephyl::notes_store
