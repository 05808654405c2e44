#include "notes_store/library_export_manifest.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace zephyl::notes_store {
namespace {

std::optional<LibraryExportManifest> parseLibraryExportManifest(std::string_view text) {
  LibraryExportManifest manifest;
  LibraryExportManifestReading reading;
  reading.entry = [&](std::string_view id, std::string_view path, std::string_view modified) {
    manifest.add(id, path, modified);
  };
  reading.restart = [&] { manifest = {}; };
  if (!readLibraryExportManifest(text, reading)) return std::nullopt;
  manifest.sort();
  return manifest;
}

TEST(LibraryExportManifest, WritesWhatTheJsonLibraryWouldAndReadsItBack) {
  const LibraryExportManifest manifests[] = {
      {},
      {{"x-coredata://S/ICNote/p2", "iCloud/Work/Plan.md", "2024-05-01T10:00:00Z"},
       {"x-coredata://S/ICNote/p10", "Caf\xC3\xA9 \"quoted\" tab\t.md", "\\"},
       // Not as formatIso8601 writes it: kept as written.
       {"x-coredata://S/ICNote/p3", "iCloud/Work/Other.md", "2024-05-01T10:00:00.50Z"}},
      {{"id", "bad \xFF utf-8.md", "t"}},  // replaced on the way out, as before
  };
  for (const LibraryExportManifest& manifest : manifests) {
    nlohmann::json notes = nlohmann::json::object();
    for (size_t i = 0; i < manifest.size(); ++i) {
      const LibraryExportManifestEntry entry = manifest[i];
      notes[entry.id.text()] = {{"path", entry.path}, {"modified", entry.modified.formatted()}};
    }
    const nlohmann::json json = {{"version", 1}, {"notes", std::move(notes)}};
    std::string text;
    formatLibraryExportManifest(manifest, [&](std::string_view piece) { text += piece; });
    EXPECT_EQ(text, json.dump(1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n");
    if (manifest.size() != 1) {
      EXPECT_EQ(parseLibraryExportManifest(text), manifest);
    }
  }
}

TEST(LibraryExportManifest, ReadsOnlyWhatHasItsShape) {
  const std::pair<std::string, std::optional<size_t>> cases[] = {
      {R"({"notes": null})", 0},
      {R"({"extra": [{"notes": 1}], "notes": {"a": {"path": "A.md", "modified": "t", "x": {}}}})", 1},
      {R"({"notes": {"b": {"path": "B.md", "modified": "t"}, "a": {"path": "A.md", "modified": "t"}}})", 2},
      {R"({"notes": {"a": {"path": "A.md", "modified": 5}}})", std::nullopt},
      {R"({"notes": {"a": {"path": "A.md"}}})", std::nullopt},
      {R"({"notes": {"a": {"path": 1, "modified": "t", "path": "A.md"}}})", 1},
      {R"({"notes": {"a": {"path": "A.md", "modified": "t", "path": 1}}})", std::nullopt},
      {R"({"notes": {"a": {"path": "A.md", "modified": "t"}}, "notes": null})", 0},
      {R"({"notes": {"a": {"path": "A.md", "modified": "t"}})", std::nullopt},
      {R"({"notes": {"a": {"path": "../A.md", "modified": "t"}}})", std::nullopt},
      {R"({"notes": []})", std::nullopt},
      {R"({"version": 1})", std::nullopt},
      {R"([])", std::nullopt},
  };
  for (const auto& [text, notes] : cases) {
    const auto manifest = parseLibraryExportManifest(text);
    EXPECT_EQ(manifest ? std::optional(manifest->size()) : std::nullopt, notes) << text;
  }
  // Out of order and repeated: sorted, and of a repeated id the last counts.
  EXPECT_EQ(parseLibraryExportManifest(R"({"notes": {"b": {"path": "B.md", "modified": "t"},
      "a": {"path": "A1.md", "modified": "t"}, "c": {"path": "C.md", "modified": "t"},
      "a": {"path": "A2.md", "modified": "u"}}})"),
            (LibraryExportManifest{{"a", "A2.md", "u"}, {"b", "B.md", "t"}, {"c", "C.md", "t"}}));
}

}  // namespace
}  // namespace zephyl::notes_store
