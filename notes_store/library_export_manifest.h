// The manifest an export leaves in its folder (".zephyl-export.json"): each
// note's file and the modification time it was written at. Read without a
// document tree and written as it is streamed out, since a large library's
// manifest runs to tens of megabytes and is read on every export.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "notes_store/library_export_plan.h"

namespace zephyl::notes_store {

// The notes an earlier export recorded; nullopt when `text` is not a manifest
// of ours: not JSON, not shaped like one, or naming a path outside the export
// folder.
std::optional<LibraryExportManifest> parseLibraryExportManifest(std::string_view text);

// The manifest's text, handed out in pieces as it is made: a JSON object with
// one space of indent per level, keys sorted, invalid UTF-8 replaced, and a
// final newline. An entry without a path is left out: its note has a place in
// the manifest but no file yet.
void formatLibraryExportManifest(const LibraryExportManifest& manifest,
                                 const std::function<void(std::string_view)>& piece);

}  // namespace zephyl::notes_store
