// BacklinksIndex: which notes link to which. A link is either an inline link
// attachment (a row of its own that names its target) or a link run
// "applenotes:note/<uuid>" inside a note's body; both are read from one
// consistent view of the database, and targets are matched by UUID without
// regard to case. Built once, then read; safe to read from several threads.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "notes_store/notes_database_connection.h"

namespace zephyl::notes_store {

// A note that links to another, where it stands and what it is called.
struct NoteBacklink {
  int64_t sourceKey = 0;
  std::string sourceIdentifier;  // the source note's UUID
  std::string sourceTitle;
  std::string sourceLocation;  // "Account › Folder" or "Folder"
  bool operator==(const NoteBacklink&) const = default;
};

class BacklinksIndex {
 public:
  // Reads links, targets and candidate bodies between "BEGIN DEFERRED" and
  // "COMMIT" (rolled back on failure). Links from deleted notes, to notes that do
  // not exist, and from a note to itself are left out. Throws NotesDatabaseError.
  static BacklinksIndex build(NotesDatabaseConnection& connection);

  // The notes that link to the note with this key, each once, ordered by title
  // (then key); empty when none.
  const std::vector<NoteBacklink>& backlinksTo(int64_t targetKey) const;

  // The key of the note with this UUID (any case), if it is a live note.
  std::optional<int64_t> noteKeyForIdentifier(std::string_view identifier) const;

  size_t linkCount() const;

  // Notes whose bodies were not read for inflating past
  // kMaxInflatedNoteBodyBytes: their links are missing.
  const std::vector<int64_t>& overLimitNoteKeys() const { return overLimitNoteKeys_; }

 private:
  std::unordered_map<int64_t, std::vector<NoteBacklink>> backlinks_;
  std::unordered_map<std::string, int64_t> keyByIdentifier_;  // lower-case UUID → key
  std::vector<int64_t> overLimitNoteKeys_;
};

// The lower-case UUID of a note link ("applenotes:note/<uuid>", any query after
// it ignored), or nullopt when `link` is no note link.
std::optional<std::string> noteLinkTargetIdentifier(std::string_view link);

}  // namespace zephyl::notes_store
