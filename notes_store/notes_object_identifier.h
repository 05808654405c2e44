// The identifier Notes gives a note or folder, "x-coredata://<store>/ICNote/p<key>"
// (or ".../ICFolder/p<key>"): the store's UUID, the entity and the row key. It
// is built and read here only, in C++ and in the queries that list notes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zephyl::notes_store {

enum class NotesObjectKind { kNote, kFolder };

struct NotesObjectIdentifier {
  std::string store;  // the store's UUID (Z_METADATA.Z_UUID)
  NotesObjectKind kind = NotesObjectKind::kNote;
  int64_t key = 0;  // Z_PK

  std::string format() const;

  // nullopt for anything but the whole form above with a decimal key.
  static std::optional<NotesObjectIdentifier> parse(std::string_view text);

  // An SQL expression that builds the identifier from a store UUID column and a
  // key column ("metadata.z_uuid", "note.z_pk").
  static std::string sqlExpression(NotesObjectKind kind, std::string_view storeColumn,
                                   std::string_view keyColumn);

  bool operator==(const NotesObjectIdentifier&) const = default;
};

// The key of a note or folder identifier; nullopt when `text` is none.
std::optional<int64_t> notesObjectKey(std::string_view text);

}  // namespace zephyl::notes_store
