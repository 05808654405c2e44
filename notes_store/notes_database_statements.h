// The SQL text of every statement run on the Notes database.
//
// The account joins depend on the Notes version: macOS 12 and iOS 15 libraries
// have no ZACCOUNT7 column. Each join is built from the account columns that the
// library has, so where every column exists the text is the canonical one, and
// where one is missing it is simply left out of the OR.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace zephyl::notes_store {

// What the statements need to know about a library's schema.
struct NotesSchema {
  std::set<std::string> objectColumns;  // lower-case columns of ZICCLOUDSYNCINGOBJECT
  bool hasNoteDataTable = true;

  bool has(std::string_view column) const { return objectColumns.count(std::string(column)) != 0; }

  // A schema with every column the statements name (as in macOS 13 and later).
  static NotesSchema complete();
};

// Which named top-level folders a folder-notes statement lists.
enum class NamedFolderSet { kTemplates, kSkills };

// The folder titles of a set: "Templates" and "templates", or "Skills" and "skills".
const std::vector<std::string>& namedFolderTitles(NamedFolderSet set);

// Names as an SQL list: each wrapped in single quotes with inner quotes doubled,
// joined with ", ". Built once per process for each named set.
std::string quotedNameList(const std::vector<std::string>& names);
const std::string& quotedNameList(NamedFolderSet set);

inline constexpr std::string_view kLinkTypeIdentifier = "com.apple.notes.inlinetextattachment.link";
inline constexpr std::string_view kTableTypeIdentifier = "com.apple.notes.table";

namespace statements {

inline constexpr std::string_view kStoreUUID = "SELECT z_uuid FROM z_metadata LIMIT 1";
inline constexpr std::string_view kObjectKeyBounds =
    "SELECT min(z_pk), max(z_pk), count(*) FROM ziccloudsyncingobject";
inline constexpr std::string_view kNoteDataTableCheck =
    "SELECT 1 FROM sqlite_master WHERE type = 'table' AND lower(name) = 'zicnotedata' LIMIT 1";

// Key, body (NULL past the size limit) and whether it was past it, of the
// zicnotedata rows whose key is one of `count` bound keys.
std::string noteBodiesByKey(size_t count);
// Note key and preview ("" when none) of the notes with `count` bound keys.
std::string notePreviewsByKey(size_t count);

std::string folderTree(const NotesSchema& schema);
// The listed notes whose keys lie between two bound keys, in key order.
std::string noteList(const NotesSchema& schema);
// The note columns of the notes that noteList may list, between two bound keys
// in key order, without joins: key, uuid, title, folder key, preview, note-data
// key, locked, created, modified, and the note's two account links (NULL where
// the library lacks the column).
std::string noteListWithoutJoins(const NotesSchema& schema);
// The rows that a folder or account link of any row names: key, title, deletion
// mark, folder type, the links zowner, zaccount4, zaccount7 (NULL where the
// library lacks the column) and zfolder, and name.
std::string linkedObjects(const NotesSchema& schema);
std::string noteByKey();
std::string passwordProtection();
std::string inlineAttachmentTexts();
std::string tablesOfNote();
// The notes among `count` keys that have tables, and those that keep inline
// attachment texts (the conditions of tablesOfNote and inlineAttachmentTexts).
std::string notesWithTables();
std::string notesWithInlineAttachmentTexts();
std::string folderNotesWithBodies(const NotesSchema& schema, NamedFolderSet set);
std::string folderNotesWithoutBodies(const NotesSchema& schema, NamedFolderSet set);

// The link statement; its type predicate uses whichever of ZTYPEUTI and
// ZTYPEUTI1 exist. `parameterCount` receives how many "?" to bind.
std::string linkAttachments(const NotesSchema& schema, int* parameterCount);
std::string linkTargets(const NotesSchema& schema);
std::string candidateBodies();

// "SELECT lower(name) FROM pragma_table_info('<table>')".
std::string tableColumns(std::string_view table);

}  // namespace statements
}  // namespace zephyl::notes_store
