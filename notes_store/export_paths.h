// File and folder names for an exported library: safe on Linux, macOS and
// Windows, unique within their folder regardless of case and Unicode form (as
// macOS and Windows compare names), and stable between runs.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace zephyl::notes_store {

// `name` made safe as one path component: characters that some system forbids
// (/ \ : * ? " < > | and control characters) become "-", blanks and dots are
// trimmed from the end, Windows device names (CON, NUL, COM1, …) get a "_"
// appended, "." and ".." and empty names become `fallback`, and the result is
// cut at a character boundary to at most `maxBytes` UTF-8 bytes.
std::string safePathComponent(std::string_view name, std::string_view fallback, size_t maxBytes = 120);

// The key under which two names count as the same file on a case-insensitive,
// normalising file system (NFKC with case folding).
std::string fileNameKey(std::string_view name);

// Hands out unique names within each folder. Names claimed first (from an
// earlier export) keep their owner; new names get " (2)", " (3)", … before
// their extension when taken.
class ExportPathAllocator {
 public:
  // Reserves `relativePath` ("Folder/Sub/Name.md") for `owner`; false when
  // another owner already holds that name.
  bool claim(const std::string& relativePath, const std::string& owner);

  // A free name for `owner` in `folder` ("" for the top), built from `stem` and
  // `extension` (".md"); the path is returned relative to the export root.
  std::string allocate(const std::string& folder, const std::string& stem, const std::string& extension,
                       const std::string& owner);

 private:
  std::map<std::string, std::string> owners_;  // key of folder + "/" + name key → owner
};

// True when `relativePath` names something inside the export folder: relative,
// "/"-separated, without empty, "." or ".." components, backslashes or NUL. A
// path read back from disk (the manifest) is used only when this holds.
bool staysInsideExportFolder(std::string_view relativePath);

// The relative link from a file in `fromFolder` to `toPath` (both relative to
// the export root, "/"-separated).
std::string relativeLink(const std::string& fromFolder, const std::string& toPath);

}  // namespace zephyl::notes_store
