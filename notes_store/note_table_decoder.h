// Decoding of table attachments: the cells of a table live in the attachment's
// mergeable data, a CRDT document (gzip-compressed protobuf) of type
// "com.apple.notes.ICTable" with ordered sets of rows and columns, a dictionary
// of cells (each cell a note document) and a column direction.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "notes_store/note_document.h"

namespace zephyl::notes_store {

inline constexpr std::string_view kTableDirectionLeftToRight = "CRTableColumnDirectionLeftToRight";
inline constexpr std::string_view kTableDirectionRightToLeft = "CRTableColumnDirectionRightToLeft";

// The records that the document is read into. A value inside the CRDT document
// (a map item's value, a dictionary key or value, a register's value): an
// unsigned integer, a string, or a reference to another entry of the document.
struct TableObjectID {
  std::optional<uint64_t> unsignedIntegerValue;  // field 2, e.g. an index into the UUID list
  std::optional<std::string> stringValue;        // field 4
  std::optional<uint64_t> objectIndex;           // field 6: index of an entry of the document
  bool operator==(const TableObjectID&) const = default;
};

// A map entry (entry field 13): its type name and its items, key name → value.
struct TableCustomMap {
  std::string type;  // e.g. "com.apple.notes.ICTable", "com.apple.CRDT.NSUUID"
  std::vector<std::pair<std::string, TableObjectID>> items;
};

// One pair of a dictionary (a dictionary entry's field 6, or an ordering's
// contents): key → value.
struct TableDictionaryElement {
  TableObjectID key;
  TableObjectID value;
};

struct NotesTable {
  // Rows top to bottom; each row's cells in display order (reversed for right to left).
  std::vector<std::vector<NoteDocument>> rows;
  std::string direction = std::string(kTableDirectionLeftToRight);
  bool rightToLeft() const { return direction == kTableDirectionRightToLeft; }
  size_t columnCount() const;
};

inline constexpr size_t kMaxTableCells = size_t{1} << 20;

// Decodes a table's mergeable data (as stored, usually gzip). nullopt when it is
// not a readable table (no ICTable entry, or no readable row or column ordering).
// Never throws, never reads outside the bytes.
// The blob is decompressed as a body is (gzip or zlib-headed); bytes that do not
// decompress are read as they are. Rows and columns whose position the ordering
// does not give are left out, as are cells filed under them; a cell that is
// missing or unreadable is an empty document. A table of more than kMaxTableCells
// cells is refused rather than allocated.
std::optional<NotesTable> decodeNoteTable(std::string_view mergeableData);

// UUIDs in their 8-4-4-4-12 hexadecimal text form, either case. isUUIDText: the
// whole text is one; findUUIDInText: the first one inside the text (for example
// the note of an "applenotes:note/<uuid>" link).
bool isUUIDText(std::string_view text);
std::optional<std::string_view> findUUIDInText(std::string_view text);

}  // namespace zephyl::notes_store
