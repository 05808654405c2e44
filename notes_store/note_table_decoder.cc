#include "notes_store/note_table_decoder.h"

#include <algorithm>
#include <map>
#include <unordered_map>

#include "notes_store/internal/protobuf_scanner.h"
#include "notes_store/note_body_decoder.h"

namespace zephyl::notes_store {
namespace {

using internal::kWireLengthDelimited;
using internal::kWireVarint;
using internal::ProtobufField;
using internal::ProtobufScanner;
using internal::VarintLimit;

// Cells are note documents, whose int32 fields may take ten bytes; the rest of the
// document is read with the same limit.
constexpr VarintLimit kLimit = VarintLimit::kTenBytes;

constexpr std::string_view kTableType = "com.apple.notes.ICTable";
constexpr std::string_view kUUIDType = "com.apple.CRDT.NSUUID";
constexpr std::string_view kRowsKey = "crRows";
constexpr std::string_view kColumnsKey = "crColumns";
constexpr std::string_view kCellColumnsKey = "cellColumns";
constexpr std::string_view kDirectionKeys[] = {"crTableColumnDirection", "CRTableColumnDirection"};
constexpr size_t kUUIDByteCount = 16;
constexpr size_t kUUIDTextLength = 36;
constexpr int kMaxDirectionDepth = 8;

std::optional<std::string_view> messageField(uint64_t number, std::string_view bytes) {
  return internal::firstMessageField(number, bytes, kLimit);
}

std::optional<uint64_t> varintField(uint64_t number, std::string_view bytes) {
  return internal::firstVarintField(number, bytes, kLimit);
}

// Every field with the number up to where the list may break off: list
// positions are indices, and those before a break still hold.
std::vector<std::string_view> messageFields(uint64_t number, std::string_view bytes) {
  return internal::allMessageFields(number, bytes, kLimit);
}

bool isHexDigit(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

bool isUUIDAt(std::string_view text, size_t at) {
  if (text.size() - at < kUUIDTextLength) return false;
  for (size_t i = 0; i < kUUIDTextLength; ++i) {
    const char c = text[at + i];
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    if (dash ? c != '-' : !isHexDigit(c)) return false;
  }
  return true;
}

std::string upperCased(std::string_view text) {
  std::string upper(text);
  for (char& c : upper) {
    if (c >= 'a' && c <= 'f') c = static_cast<char>(c - 'a' + 'A');
  }
  return upper;
}

// One UUID in a single comparable form, upper-case 8-4-4-4-12, whether it is
// stored as its sixteen bytes or as text.
std::optional<std::string> canonicalUUID(std::string_view bytes) {
  if (bytes.size() == kUUIDByteCount) {
    constexpr char kHex[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(kUUIDTextLength);
    for (size_t i = 0; i < kUUIDByteCount; ++i) {
      if (i == 4 || i == 6 || i == 8 || i == 10) text.push_back('-');
      const auto byte = static_cast<unsigned char>(bytes[i]);
      text.push_back(kHex[byte >> 4]);
      text.push_back(kHex[byte & 0x0F]);
    }
    return text;
  }
  if (const std::optional<std::string_view> found = findUUIDInText(bytes)) return upperCased(*found);
  return std::nullopt;
}

TableObjectID readObjectID(std::string_view bytes) {
  TableObjectID id;
  ProtobufScanner scanner(bytes, kLimit);
  ProtobufField field;
  while (scanner.next(field)) {
    if (field.wireType == kWireVarint) {
      if (field.number == 2 && !id.unsignedIntegerValue) id.unsignedIntegerValue = field.varint;
      if (field.number == 6 && !id.objectIndex) id.objectIndex = field.varint;
    } else if (field.wireType == kWireLengthDelimited && field.number == 4 && !id.stringValue) {
      id.stringValue.emplace(field.bytes);
    }
  }
  return id;
}

std::vector<TableDictionaryElement> readDictionary(std::string_view dictionary) {
  std::vector<TableDictionaryElement> elements;
  for (std::string_view element : messageFields(1, dictionary)) {
    const std::optional<std::string_view> key = messageField(1, element);
    const std::optional<std::string_view> value = messageField(2, element);
    if (key && value) elements.push_back({readObjectID(*key), readObjectID(*value)});
  }
  return elements;
}

// The data message of a document: its entries and the lists that entries index.
class TableDocument {
 public:
  explicit TableDocument(std::string_view data)
      : entries_(messageFields(3, data)),
        keys_(messageFields(4, data)),
        types_(messageFields(5, data)),
        uuids_(messageFields(6, data)) {}

  size_t entryCount() const { return entries_.size(); }

  std::optional<std::string_view> entry(uint64_t index) const {
    if (index >= entries_.size()) return std::nullopt;
    return entries_[index];
  }

  std::optional<std::string_view> entry(const TableObjectID& id) const {
    if (!id.objectIndex) return std::nullopt;
    return entry(*id.objectIndex);
  }

  std::optional<TableCustomMap> customMap(std::string_view entryBytes) const {
    const std::optional<std::string_view> map = messageField(13, entryBytes);
    if (!map) return std::nullopt;
    TableCustomMap custom;
    custom.type = listItem(types_, varintField(1, *map));
    for (std::string_view item : messageFields(3, *map)) {
      const std::optional<std::string_view> value = messageField(2, item);
      if (!value) continue;
      custom.items.emplace_back(listItem(keys_, varintField(1, item)), readObjectID(*value));
    }
    return custom;
  }

  // The UUID that an object names: an NSUUID map whose first item's value
  // indexes the UUID list.
  std::optional<std::string> uuidOf(const TableObjectID& id) const {
    const std::optional<std::string_view> bytes = entry(id);
    if (!bytes) return std::nullopt;
    const std::optional<TableCustomMap> map = customMap(*bytes);
    if (!map || map->type != kUUIDType || map->items.empty()) return std::nullopt;
    const std::optional<uint64_t> index = map->items.front().second.unsignedIntegerValue;
    if (!index || *index >= uuids_.size()) return std::nullopt;
    return canonicalUUID(uuids_[*index]);
  }

 private:
  static std::string listItem(const std::vector<std::string_view>& list, std::optional<uint64_t> index) {
    if (!index || *index >= list.size()) return {};
    return std::string(list[*index]);
  }

  std::vector<std::string_view> entries_;
  std::vector<std::string_view> keys_;
  std::vector<std::string_view> types_;
  std::vector<std::string_view> uuids_;
};

// Reads an ordered set (entry field 16) of rows or columns. Its ordering's array
// lists position UUIDs in display order; its contents pair the object whose UUID
// holds a position (key) with the object that cells are filed under (value).
// Returns the UUID of each value object with its rank among the positions that
// some object holds; nullopt when the entry is no ordered set. Cells are matched
// by UUID, not by entry: tables edited by several Notes versions file them under
// other entries that name the same UUIDs.
std::optional<std::unordered_map<std::string, size_t>> readOrdering(const TableDocument& document,
                                                                    const TableObjectID& id) {
  const std::optional<std::string_view> entry = document.entry(id);
  if (!entry) return std::nullopt;
  const std::optional<std::string_view> orderedSet = messageField(16, *entry);
  if (!orderedSet) return std::nullopt;
  const std::optional<std::string_view> ordering = messageField(1, *orderedSet);
  if (!ordering) return std::nullopt;
  const std::optional<std::string_view> array = messageField(1, *ordering);
  if (!array) return std::nullopt;

  std::unordered_map<std::string, size_t> positionOfUUID;
  for (std::string_view item : messageFields(2, *array)) {
    const std::optional<std::string_view> uuidBytes = messageField(2, item);
    if (!uuidBytes) continue;
    if (std::optional<std::string> uuid = canonicalUUID(*uuidBytes)) {
      positionOfUUID.try_emplace(std::move(*uuid), positionOfUUID.size());
    }
  }

  std::map<size_t, std::string> objectAtPosition;
  if (const std::optional<std::string_view> contents = messageField(2, *ordering)) {
    for (const TableDictionaryElement& element : readDictionary(*contents)) {
      const std::optional<std::string> uuid = document.uuidOf(element.key);
      if (!uuid) continue;
      const auto position = positionOfUUID.find(*uuid);
      if (position == positionOfUUID.end()) continue;
      if (std::optional<std::string> valueUUID = document.uuidOf(element.value)) {
        objectAtPosition.try_emplace(position->second, std::move(*valueUUID));
      }
    }
  }

  std::unordered_map<std::string, size_t> rankOfObject;
  for (auto& [position, object] : objectAtPosition) {
    rankOfObject.try_emplace(std::move(object), rankOfObject.size());
  }
  return rankOfObject;
}

// Follows the direction value through registers (entry field 1, whose items hold
// the value in field 2) and maps to one of the two direction names. A real
// document takes two steps (register, then string); each entry is visited once
// and the walk goes no deeper than kMaxDirectionDepth, so a damaged document
// that refers in circles or in long chains still ends, and soon.
std::optional<std::string_view> readDirection(const TableDocument& document, const TableObjectID& id,
                                              std::vector<bool>& visited, int depth = 0) {
  if (id.stringValue) {
    if (*id.stringValue == kTableDirectionLeftToRight) return kTableDirectionLeftToRight;
    if (*id.stringValue == kTableDirectionRightToLeft) return kTableDirectionRightToLeft;
  }
  const std::optional<std::string_view> entry = document.entry(id);
  if (!entry || visited[*id.objectIndex] || depth >= kMaxDirectionDepth) return std::nullopt;
  visited[*id.objectIndex] = true;
  for (std::string_view registerValue : messageFields(1, *entry)) {
    for (std::string_view value : messageFields(2, registerValue)) {
      if (auto direction = readDirection(document, readObjectID(value), visited, depth + 1)) return direction;
    }
  }
  if (const std::optional<TableCustomMap> map = document.customMap(*entry)) {
    for (const auto& [key, value] : map->items) {
      if (auto direction = readDirection(document, value, visited, depth + 1)) return direction;
    }
  }
  return std::nullopt;
}

const TableObjectID* itemNamed(const TableCustomMap& map, std::string_view key) {
  for (const auto& [name, value] : map.items) {
    if (name == key) return &value;
  }
  return nullptr;
}

}  // namespace

size_t NotesTable::columnCount() const {
  size_t count = 0;
  for (const std::vector<NoteDocument>& row : rows) count = std::max(count, row.size());
  return count;
}

bool isUUIDText(std::string_view text) { return text.size() == kUUIDTextLength && isUUIDAt(text, 0); }

std::optional<std::string_view> findUUIDInText(std::string_view text) {
  for (size_t at = 0; at + kUUIDTextLength <= text.size(); ++at) {
    if (isUUIDAt(text, at)) return text.substr(at, kUUIDTextLength);
  }
  return std::nullopt;
}

std::optional<NotesTable> decodeNoteTable(std::string_view mergeableData) {
  bool overLimit = mergeableData.size() > kMaxInflatedNoteBodyBytes;
  const std::optional<std::string> decompressed =
      overLimit ? std::nullopt : decompressNoteData(mergeableData, &overLimit);
  if (overLimit) return std::nullopt;
  const std::string_view bytes = decompressed ? std::string_view(*decompressed) : mergeableData;
  const std::optional<std::string_view> object = messageField(2, bytes);
  if (!object) return std::nullopt;
  const std::optional<std::string_view> data = messageField(3, *object);
  if (!data) return std::nullopt;
  const TableDocument document(*data);

  std::optional<TableCustomMap> table;
  for (size_t i = 0; i < document.entryCount() && !table; ++i) {
    std::optional<TableCustomMap> map = document.customMap(*document.entry(i));
    if (map && map->type == kTableType) table = std::move(map);
  }
  if (!table) return std::nullopt;

  const TableObjectID* rowsID = itemNamed(*table, kRowsKey);
  const TableObjectID* columnsID = itemNamed(*table, kColumnsKey);
  if (rowsID == nullptr || columnsID == nullptr) return std::nullopt;
  const auto rowRank = readOrdering(document, *rowsID);
  const auto columnRank = readOrdering(document, *columnsID);
  if (!rowRank || !columnRank) return std::nullopt;
  const size_t rowCount = rowRank->size();
  const size_t columnCount = columnRank->size();
  if (columnCount != 0 && rowCount > kMaxTableCells / columnCount) return std::nullopt;

  NotesTable result;
  result.rows.assign(rowCount, std::vector<NoteDocument>(columnCount));
  std::vector<bool> filled(rowCount * columnCount, false);
  const TableObjectID* cellColumnsID = itemNamed(*table, kCellColumnsKey);
  const std::optional<std::string_view> cellColumns =
      cellColumnsID != nullptr ? document.entry(*cellColumnsID) : std::nullopt;
  const std::optional<std::string_view> columnDictionary =
      cellColumns ? messageField(6, *cellColumns) : std::nullopt;
  for (const TableDictionaryElement& column :
       columnDictionary ? readDictionary(*columnDictionary) : std::vector<TableDictionaryElement>{}) {
    const std::optional<std::string> columnUUID = document.uuidOf(column.key);
    if (!columnUUID) continue;
    const auto columnAt = columnRank->find(*columnUUID);
    if (columnAt == columnRank->end()) continue;
    const std::optional<std::string_view> rowEntry = document.entry(column.value);
    const std::optional<std::string_view> rowDictionary =
        rowEntry ? messageField(6, *rowEntry) : std::nullopt;
    if (!rowDictionary) continue;
    for (const TableDictionaryElement& row : readDictionary(*rowDictionary)) {
      const std::optional<std::string> rowUUID = document.uuidOf(row.key);
      if (!rowUUID) continue;
      const auto rowAt = rowRank->find(*rowUUID);
      if (rowAt == rowRank->end()) continue;
      const size_t slot = rowAt->second * columnCount + columnAt->second;
      if (filled[slot]) continue;
      const std::optional<std::string_view> cellEntry = document.entry(row.value);
      const std::optional<std::string_view> cell = cellEntry ? messageField(10, *cellEntry) : std::nullopt;
      if (!cell) continue;
      if (std::optional<NoteDocument> cellDocument = readNoteMessage(*cell)) {
        result.rows[rowAt->second][columnAt->second] = std::move(*cellDocument);
        filled[slot] = true;
      }
    }
  }

  std::vector<bool> visited(document.entryCount(), false);
  for (std::string_view key : kDirectionKeys) {
    const TableObjectID* directionID = itemNamed(*table, key);
    if (directionID == nullptr) continue;
    if (const auto direction = readDirection(document, *directionID, visited)) {
      result.direction = std::string(*direction);
      break;
    }
  }
  if (result.rightToLeft()) {
    for (std::vector<NoteDocument>& row : result.rows) std::reverse(row.begin(), row.end());
  }
  return result;
}

}  // namespace zephyl::notes_store
