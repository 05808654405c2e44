// QuickOpenSearchTextCache: the searchable text of each note, valid while the
// note's modification time is unchanged, kept in memory and in one file in the
// data folder so that a later run does not decode every body again.
//
// Each entry holds the text twice: as shown (for snippets) and folded (for the
// substring scan), so neither a search nor a restart folds text again. The file
// names the folding it was made with; a file made with another folding, an older
// format, or damaged in any way is ignored and the cache starts empty — a bad
// cache costs one rebuild, never a failure. Not thread-safe: one owner.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "core/apple_time.h"
#include "core/file_system.h"

namespace zephyl::navigation {

struct QuickOpenSearchTextCacheEntry {
  core::TimePoint modifiedAt{};
  std::string text;        // white space collapsed, attachment markers removed
  std::string foldedText;  // `text` through the SearchTextFolder
  bool complete = false;   // false when only the preview was at hand
};

class QuickOpenSearchTextCache {
 public:
  // The entry of the note with this key when it was made for `modifiedAt`; null
  // when there is none or it is stale. The pointer stays valid until the entry is
  // replaced or removed.
  const QuickOpenSearchTextCacheEntry* find(int64_t noteKey, core::TimePoint modifiedAt) const;

  void store(int64_t noteKey, QuickOpenSearchTextCacheEntry entry);

  // Drops the entries of notes that are not in `noteKeys` (deleted notes).
  void retainOnly(const std::unordered_set<int64_t>& noteKeys);

  size_t size() const { return entries_.size(); }
  // True when entries changed since the last load or save.
  bool changed() const { return changed_; }

  // The file image, tagged with `foldingKey`.
  std::string serialize(std::string_view foldingKey) const;
  // The cache a file image holds; nullopt when it is damaged, of another format,
  // or made with another folding.
  static std::optional<QuickOpenSearchTextCache> deserialize(std::string_view bytes, std::string_view foldingKey);

  // Replaces the contents with the file's; a missing, unreadable or damaged file
  // leaves the cache empty. Returns whether entries were loaded.
  bool load(core::FileSystem& files, const std::string& path, std::string_view foldingKey);
  // Writes the file in one step when entries changed. Throws FileSystemError.
  void save(core::FileSystem& files, const std::string& path, std::string_view foldingKey);

 private:
  std::unordered_map<int64_t, QuickOpenSearchTextCacheEntry> entries_;
  bool changed_ = false;
};

}  // namespace zephyl::navigation
