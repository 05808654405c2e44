#include "notes_store/library_export_manifest.h"

#include <nlohmann/json.hpp>

#include "core/json_tape.h"
#include "notes_store/export_paths.h"

namespace zephyl::notes_store {
namespace {

using Json = nlohmann::json;

void appendQuoted(std::string& out, const std::string& text) {
  bool plain = true;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    plain &= byte >= 0x20 && byte < 0x7F && c != '"' && c != '\\';
  }
  if (!plain) {
    out += Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
    return;
  }
  out += '"';
  out += text;
  out += '"';
}

}  // namespace

std::optional<LibraryExportManifest> parseLibraryExportManifest(std::string_view text) {
  // {"notes": {id: {"path": …, "modified": …}}}; other keys, at any level, are
  // passed over, and of a repeated key the last counts.
  core::JSONTape tape;
  try {
    tape.parse(text);
  } catch (const core::JSONValueError&) {
    return std::nullopt;
  }
  const auto notes = tape.root().find("notes");
  if (!notes) return std::nullopt;
  LibraryExportManifest manifest;
  if (notes->isNull()) return manifest;
  if (!notes->isObject()) return std::nullopt;
  bool fits = true;
  notes->forEachMember([&](std::string id, core::JSONTape::Value value) {
    auto path = value.find("path");
    auto modified = value.find("modified");
    auto pathText = path ? path->string() : std::nullopt;
    auto modifiedText = modified ? modified->string() : std::nullopt;
    if (!pathText || !modifiedText || !staysInsideExportFolder(*pathText)) {
      fits = false;
      return;
    }
    LibraryExportManifestEntry entry{std::move(*pathText), std::move(*modifiedText)};
    // A manifest of ours lists its notes in order: each goes at the end.
    if (manifest.empty() || manifest.rbegin()->first < id) {
      manifest.emplace_hint(manifest.end(), std::move(id), std::move(entry));
    } else {
      manifest[id] = std::move(entry);
    }
  });
  if (!fits) return std::nullopt;
  return manifest;
}

void formatLibraryExportManifest(const LibraryExportManifest& manifest,
                                 const std::function<void(std::string_view)>& piece) {
  // The bytes a JSON library's dump with an indent of one gives, without the tree.
  constexpr size_t kPiece = 64 * 1024;
  std::string out = "{\n \"notes\": {";
  bool first = true;
  for (const auto& [id, entry] : manifest) {
    if (entry.path.empty()) continue;
    out += first ? "\n  " : ",\n  ";
    first = false;
    appendQuoted(out, id);
    out += ": {\n   \"modified\": ";
    appendQuoted(out, entry.modified);
    out += ",\n   \"path\": ";
    appendQuoted(out, entry.path);
    out += "\n  }";
    if (out.size() >= kPiece) {
      piece(out);
      out.clear();
    }
  }
  out += first ? "},\n \"version\": 1\n}\n" : "\n },\n \"version\": 1\n}\n";
  piece(out);
}

}  // namespace zephyl::notes_store
