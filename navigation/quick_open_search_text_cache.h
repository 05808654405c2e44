// QuickOpenSearchTextCache: the searchable text of each note, valid while the
// note's modification time is unchanged, kept in memory and in one file in the
// data folder so that a later run does not decode every body again.
//
// Each entry has its text as shown (for snippets) and folded (for the substring
// scan), so neither a search nor a restart folds text again. The file holds a
// table of fixed-size entry records, then every folded text back to back, then
// the shown texts that differ from their folded form. A loaded file stays
// mapped and the entries view it: loading is a walk over the records, and a
// search touches the folded texts only, so the shown texts cost memory only
// for the few notes whose snippets are shown. The file names the folding it
// was made with; a file made with another folding, an older format, or damaged
// in any way is ignored and the cache starts empty — a bad cache costs one
// rebuild, never a failure. Not thread-safe: one owner.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "core/apple_time.h"
#include "core/file_system.h"

namespace zephyl::navigation {

// The texts view memory owned by the cache: in an entry passed to store they
// may view anything (store copies them); in an entry found they stay valid as
// long as the entry itself.
struct QuickOpenSearchTextCacheEntry {
  core::TimePoint modifiedAt{};
  std::string_view text;        // white space collapsed, attachment markers removed
  std::string_view foldedText;  // `text` through the SearchTextFolder
  bool complete = false;        // false when only the preview was at hand
};

class QuickOpenSearchTextCache {
 public:
  // The entry of the note with this key when it was made for `modifiedAt`; null
  // when there is none or it is stale. The pointer and the texts it views stay
  // valid until the entry is replaced or removed (or the cache destroyed).
  const QuickOpenSearchTextCacheEntry* find(int64_t noteKey, core::TimePoint modifiedAt) const;

  void store(int64_t noteKey, QuickOpenSearchTextCacheEntry entry);
  // As store, taking the texts over instead of copying them.
  void store(int64_t noteKey, core::TimePoint modifiedAt, std::string text, std::string foldedText,
             bool complete);

  // Drops the entries of notes that are not in `noteKeys` (deleted notes).
  void retainOnly(const std::unordered_set<int64_t>& noteKeys);

  size_t size() const { return entries_.size(); }
  // True when entries changed since the last load or save.
  bool changed() const { return changed_; }

  // The file image, tagged with `foldingKey`. Entries are laid out newest first,
  // the order in which Quick Open scans them.
  std::string serialize(std::string_view foldingKey) const;
  // The same image as pieces: `head` (filled here) and views of the texts held
  // in the cache, so that a save need not copy every text once more.
  std::vector<std::string_view> serializedPieces(std::string_view foldingKey, std::string& head) const;
  // The cache a file image holds; nullopt when it is damaged, of another format,
  // or made with another folding.
  static std::optional<QuickOpenSearchTextCache> deserialize(std::string_view bytes,
                                                             std::string_view foldingKey);

  // Replaces the contents with the file's, mapped; a missing, unreadable or
  // damaged file leaves the cache empty. Returns whether entries were loaded.
  bool load(core::FileSystem& files, const std::string& path, std::string_view foldingKey);
  // Writes the file in one step when entries changed. Throws FileSystemError.
  void save(core::FileSystem& files, const std::string& path, std::string_view foldingKey);

 private:
  struct OwnedTexts {
    std::string text;
    std::string foldedText;  // empty when it is `text`
  };

  static std::optional<QuickOpenSearchTextCache> parse(std::shared_ptr<const core::FileView> image,
                                                       std::string_view foldingKey);

  std::shared_ptr<const core::FileView> image_;  // the file the loaded entries view
  std::unordered_map<int64_t, QuickOpenSearchTextCacheEntry> entries_;
  // The texts of the stored entries, by key; a loaded entry's texts view image_
  // and have none. Kept apart, so that 100,000 loaded entries carry no pointer
  // each. Shared and immutable, so that copies of the cache stay valid on their own.
  std::unordered_map<int64_t, std::shared_ptr<const OwnedTexts>> owned_;
  bool changed_ = false;
};

}  // namespace zephyl::navigation
