#include "notes_store/note_document_writer.h"

#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>
#include <optional>
#include <stdexcept>

#include "notes_store/internal/protobuf_writer.h"

namespace zephyl::notes_store {
namespace {

using internal::ProtobufWriter;

// The replica that the written documents name as their only author. Real documents
// carry the device's replica UUID in the same places; any fixed 16 bytes do.
constexpr std::string_view kReplicaID("\x5A\x45\x50\x48\x59\x4C\x4E\x4F\x54\x45\x53\x00\x00\x00\x00\x01", 16);

// Sentinel clock of the last substring in a topotext, as Notes writes it.
constexpr uint64_t kEndClock = 0xFFFFFFFF;

constexpr std::string_view kObjectReplacement = "\xEF\xBF\xBC";  // U+FFFC

// Table document vocabulary: the key and type lists in the order that Notes on
// macOS 15 writes them, so that the indices below match a real document's.
constexpr std::string_view kTableKeys[] = {
    "identity", "crTableColumnDirection", "self", "crRows", "UUIDIndex", "crColumns", "cellColumns"};
constexpr uint64_t kKeyIdentity = 0;
constexpr uint64_t kKeyDirection = 1;
constexpr uint64_t kKeySelf = 2;
constexpr uint64_t kKeyRows = 3;
constexpr uint64_t kKeyUUIDIndex = 4;
constexpr uint64_t kKeyColumns = 5;
constexpr uint64_t kKeyCellColumns = 6;

constexpr std::string_view kTableTypes[] = {
    "com.apple.CRDT.NSNumber",
    "com.apple.CRDT.NSString",
    "com.apple.CRDT.NSUUID",
    "com.apple.CRDT.CRTuple",
    "com.apple.CRDT.CRRegisterMultiValueLeast",
    "com.apple.CRDT.CRRegisterMultiValue",
    "com.apple.CRDT.CRTree",
    "com.apple.CRDT.CRTreeNode",
    "com.apple.CRDT.NSData",
    "com.apple.CRDT.NSDate",
    "com.apple.notes.ICCloudSyncingObjectActivityEvent",
    "com.apple.notes.ICFastSyncSelectionState",
    "com.apple.notes.ICTTAudioRecording",
    "com.apple.notes.ICTTAudioRecording.Fragment",
    "com.apple.notes.ICTTTranscriptSegment",
    "com.apple.notes.CRTable",
    "com.apple.notes.ICTable",
};
constexpr uint64_t kTypeString = 1;
constexpr uint64_t kTypeUUID = 2;
constexpr uint64_t kTypeTable = 16;

constexpr std::string_view kLeftToRight = "CRTableColumnDirectionLeftToRight";
constexpr std::string_view kRightToLeft = "CRTableColumnDirectionRightToLeft";
constexpr std::string_view kNullIdentity = "00000000-0000-0000-0000-000000000000";

uint64_t splitMix64(uint64_t& state) {
  uint64_t z = (state += 0x9E3779B97F4A7C15ULL);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
  return z ^ (z >> 31);
}

uint64_t hashBytes(std::string_view bytes, uint64_t hash = 0xCBF29CE484222325ULL) {
  for (unsigned char c : bytes) {
    hash = (hash ^ c) * 0x100000001B3ULL;
  }
  return hash;
}

// Sixteen bytes in the shape of a random (version 4) UUID, drawn from `state`.
std::string nextUUIDBytes(uint64_t& state) {
  std::string bytes(16, '\0');
  for (int half = 0; half < 2; ++half) {
    uint64_t value = splitMix64(state);
    for (int i = 0; i < 8; ++i) {
      bytes[half * 8 + i] = static_cast<char>(value >> (56 - 8 * i));
    }
  }
  bytes[6] = static_cast<char>((bytes[6] & 0x0F) | 0x40);
  bytes[8] = static_cast<char>((bytes[8] & 0x3F) | 0x80);
  return bytes;
}

// Run lengths count UTF-16 code units: one per code point, two above U+FFFF
// (four-byte UTF-8 sequences).
uint64_t utf16Length(std::string_view utf8) {
  uint64_t length = 0;
  for (unsigned char c : utf8) {
    if ((c & 0xC0) != 0x80) {
      length += c >= 0xF0 ? 2 : 1;
    }
  }
  return length;
}

ProtobufWriter pairMessage(uint64_t first, uint64_t second) {
  ProtobufWriter message;
  message.varintField(1, first);
  message.varintField(2, second);
  return message;
}

ProtobufWriter substring(uint64_t replica, uint64_t clock, uint64_t length, std::optional<uint64_t> child) {
  ProtobufWriter message;
  message.messageField(1, pairMessage(replica, clock));
  message.varintField(2, length);
  message.messageField(3, pairMessage(replica, clock));
  if (child) {
    message.varintField(5, *child);
  }
  return message;
}

// The vector clock that closes a document: one replica that made `count` edits.
ProtobufWriter vectorClock(uint64_t count) {
  ProtobufWriter counter;
  counter.varintField(1, count);
  ProtobufWriter one;
  one.varintField(1, 1);
  ProtobufWriter replica;
  replica.bytesField(1, kReplicaID);
  replica.messageField(2, counter);
  replica.messageField(2, one);
  ProtobufWriter clock;
  clock.messageField(1, replica);
  return clock;
}

ProtobufWriter paragraphStyle(const NoteParagraphStyleSpec& style, uint64_t& idState) {
  ProtobufWriter message;
  if (style.styleType) {
    message.int32Field(1, *style.styleType);
  }
  if (style.alignment != 0) {
    message.int32Field(2, style.alignment);
  }
  if (style.indentLevel != 0) {
    message.int32Field(4, style.indentLevel);
  }
  if (style.checklistDone) {
    ProtobufWriter checklist;
    checklist.bytesField(1, nextUUIDBytes(idState));
    checklist.varintField(2, *style.checklistDone ? 1 : 0);
    message.messageField(5, checklist);
  }
  if (style.blockQuote) {
    message.int32Field(8, *style.blockQuote);
  }
  return message;
}

ProtobufWriter attributeRun(const NoteRunSpec& run, uint64_t& idState) {
  ProtobufWriter message;
  message.varintField(1, utf16Length(run.text));
  if (run.paragraph) {
    message.messageField(2, paragraphStyle(*run.paragraph, idState));
  }
  if (run.fontWeight != 0) {
    message.int32Field(5, run.fontWeight);
  }
  if (run.underline) {
    message.varintField(6, 1);
  }
  if (run.strikethrough) {
    message.varintField(7, 1);
  }
  if (run.superscript != 0) {
    message.int32Field(8, run.superscript);
  }
  if (run.link) {
    message.bytesField(9, *run.link);
  }
  if (run.attachmentIdentifier || run.attachmentTypeUTI) {
    ProtobufWriter info;
    if (run.attachmentIdentifier) {
      info.bytesField(1, *run.attachmentIdentifier);
    }
    if (run.attachmentTypeUTI) {
      info.bytesField(2, *run.attachmentTypeUTI);
    }
    message.messageField(12, info);
  }
  if (run.highlight != 0) {
    message.int32Field(14, run.highlight);
  }
  return message;
}

// The note message (text, topotext substrings, clock, runs) that both note
// bodies and table cells hold.
ProtobufWriter noteMessage(const std::vector<NoteRunSpec>& runs) {
  std::string text;
  for (const NoteRunSpec& run : runs) {
    text += run.text;
  }
  uint64_t length = utf16Length(text);
  // Checklist item ids only need to be stable for the same document.
  uint64_t idState = hashBytes(text);

  ProtobufWriter note;
  note.bytesField(2, text);
  note.messageField(3, substring(0, 0, 0, 1));
  note.messageField(3, substring(1, 0, length, 2));
  note.messageField(3, substring(0, kEndClock, 0, std::nullopt));
  note.messageField(4, vectorClock(length));
  for (const NoteRunSpec& run : runs) {
    note.messageField(5, attributeRun(run, idState));
  }
  return note;
}

ProtobufWriter objectReference(uint64_t entryIndex) {
  ProtobufWriter reference;
  reference.varintField(6, entryIndex);
  return reference;
}

ProtobufWriter timestamp() {
  ProtobufWriter stamp;
  stamp.messageField(1, pairMessage(0, 1));
  return stamp;
}

ProtobufWriter dictionaryElement(uint64_t keyEntry, uint64_t valueEntry) {
  ProtobufWriter element;
  element.messageField(1, objectReference(keyEntry));
  element.messageField(2, objectReference(valueEntry));
  element.messageField(3, timestamp());
  return element;
}

ProtobufWriter mapItem(uint64_t key, const ProtobufWriter& value) {
  ProtobufWriter item;
  item.varintField(1, key);
  item.messageField(2, value);
  return item;
}

// Builds the entry list of a table document. Entries refer to each other by
// index, so a container's slot is reserved before its children are added.
class TableEntries {
 public:
  explicit TableEntries(uint64_t seed) : uuidState_(seed) { uuids_.emplace_back(kReplicaID); }

  uint64_t reserve() {
    entries_.emplace_back();
    entryUUIDs_.emplace_back();
    return entries_.size() - 1;
  }

  void set(uint64_t index, const ProtobufWriter& entry) { entries_[index] = entry.bytes(); }

  uint64_t add(const ProtobufWriter& entry) {
    uint64_t index = reserve();
    set(index, entry);
    return index;
  }

  // A map entry of type NSUUID naming a new UUID; returns the entry index.
  uint64_t addUUID() {
    uint64_t uuidIndex = uuids_.size();
    uuids_.push_back(nextUUIDBytes(uuidState_));
    ProtobufWriter value;
    value.varintField(2, uuidIndex);
    ProtobufWriter map;
    map.varintField(1, kTypeUUID);
    map.messageField(3, mapItem(kKeyUUIDIndex, value));
    ProtobufWriter entry;
    entry.messageField(13, map);
    uint64_t index = add(entry);
    entryUUIDs_[index] = uuids_.back();
    return index;
  }

  // Row or column identities of an ordered set: for each position a key object
  // (whose UUID the ordering array lists) and a value object (the identity the
  // cells are filed under).
  struct Member {
    uint64_t key;
    uint64_t value;
  };

  std::vector<Member> addMembers(size_t count) {
    std::vector<Member> members;
    for (size_t i = 0; i < count; ++i) {
      uint64_t value = addUUID();
      uint64_t key = addUUID();
      members.push_back({key, value});
    }
    return members;
  }

  ProtobufWriter orderedSet(const std::vector<Member>& members) const {
    std::vector<NoteRunSpec> positions;
    for (size_t i = 0; i < members.size(); ++i) {
      positions.push_back({.text = std::string(kObjectReplacement)});
    }
    ProtobufWriter array;
    array.messageField(1, noteMessage(positions));
    for (size_t i = 0; i < members.size(); ++i) {
      ProtobufWriter item;
      item.varintField(1, i);
      item.bytesField(2, entryUUIDs_[members[i].key]);
      array.messageField(2, item);
    }
    ProtobufWriter contents;
    ProtobufWriter elements;
    for (const Member& member : members) {
      contents.messageField(1, dictionaryElement(member.key, member.value));
      elements.messageField(1, dictionaryElement(member.key, member.key));
    }
    ProtobufWriter ordering;
    ordering.messageField(1, array);
    ordering.messageField(2, contents);
    ProtobufWriter set;
    set.messageField(1, ordering);
    set.messageField(2, elements);
    ProtobufWriter entry;
    entry.messageField(16, set);
    return entry;
  }

  ProtobufWriter document() const {
    ProtobufWriter version;
    version.messageField(1, pairMessage(0, 1));
    ProtobufWriter data;
    data.messageField(1, version);
    data.bytesField(2, "");
    for (const std::string& entry : entries_) {
      data.bytesField(3, entry);
    }
    for (std::string_view key : kTableKeys) {
      data.bytesField(4, key);
    }
    for (std::string_view type : kTableTypes) {
      data.bytesField(5, type);
    }
    for (const std::string& uuid : uuids_) {
      data.bytesField(6, uuid);
    }
    data.messageField(7, vectorClock(entries_.size()));
    return data;
  }

 private:
  std::vector<std::string> entries_;
  std::vector<std::string> entryUUIDs_;  // the UUID an NSUUID entry names, else empty
  std::vector<std::string> uuids_;
  uint64_t uuidState_;
};

// One deflate stream, reset for every input: setting a stream up costs far more
// than compressing a note body, and the sample library compresses thousands.
class Deflater {
 public:
  explicit Deflater(int windowBits) {
    // The fastest level: bodies are small, so building the Huffman tables costs
    // more than searching for matches, and readers do not care which level wrote them.
    constexpr int kLevel = 1;
    constexpr int kMemoryLevel = 8;
    if (deflateInit2(&stream_, kLevel, Z_DEFLATED, windowBits, kMemoryLevel, Z_DEFAULT_STRATEGY) != Z_OK) {
      throw std::bad_alloc();
    }
  }
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;
  ~Deflater() { deflateEnd(&stream_); }

  std::string compress(std::string_view bytes) {
    if (bytes.size() > std::numeric_limits<uInt>::max()) {
      throw std::length_error("input too large to compress in one call");
    }
    deflateReset(&stream_);
    std::string output(deflateBound(&stream_, static_cast<uLong>(bytes.size())), '\0');
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream_.avail_in = static_cast<uInt>(bytes.size());
    stream_.next_out = reinterpret_cast<Bytef*>(output.data());
    stream_.avail_out = static_cast<uInt>(output.size());
    // The output holds deflateBound bytes, so one call finishes the stream.
    if (deflate(&stream_, Z_FINISH) != Z_STREAM_END) {
      throw std::runtime_error("deflate did not finish the stream");
    }
    output.resize(stream_.total_out);
    return output;
  }

 private:
  z_stream stream_{};
};

}  // namespace

std::string encodeNoteDocument(const std::vector<NoteRunSpec>& runs) {
  ProtobufWriter document;
  document.varintField(1, 0);
  document.varintField(2, 0);
  document.messageField(3, noteMessage(runs));
  ProtobufWriter root;
  root.varintField(1, 0);
  root.messageField(2, document);
  return std::move(root).take();
}

std::string encodeTableDocument(const std::vector<std::vector<std::string>>& rows, bool rightToLeft) {
  size_t columnCount = 0;
  uint64_t seed = hashBytes(rightToLeft ? kRightToLeft : kLeftToRight);
  for (const std::vector<std::string>& row : rows) {
    columnCount = std::max(columnCount, row.size());
    for (const std::string& cell : row) {
      seed = hashBytes(cell, seed ^ 0x1F);
    }
  }

  TableEntries entries(seed);
  uint64_t table = entries.reserve();
  uint64_t directionRegister = entries.reserve();

  ProtobufWriter directionValue;
  directionValue.bytesField(4, rightToLeft ? kRightToLeft : kLeftToRight);
  ProtobufWriter directionMap;
  directionMap.varintField(1, kTypeString);
  directionMap.messageField(3, mapItem(kKeySelf, directionValue));
  ProtobufWriter directionString;
  directionString.messageField(13, directionMap);
  uint64_t direction = entries.add(directionString);

  ProtobufWriter registerContents;
  registerContents.messageField(1, pairMessage(0, 1));
  registerContents.messageField(2, objectReference(direction));
  ProtobufWriter registerEntry;
  registerEntry.messageField(1, registerContents);
  entries.set(directionRegister, registerEntry);

  uint64_t rowSet = entries.reserve();
  std::vector<TableEntries::Member> rowMembers = entries.addMembers(rows.size());
  entries.set(rowSet, entries.orderedSet(rowMembers));

  // Columns are stored in the order given; a right-to-left table shows the first
  // of them rightmost.
  uint64_t columnSet = entries.reserve();
  std::vector<TableEntries::Member> columnMembers = entries.addMembers(columnCount);
  entries.set(columnSet, entries.orderedSet(columnMembers));

  uint64_t cellColumns = entries.reserve();
  ProtobufWriter columnDictionary;
  for (size_t column = 0; column < columnCount; ++column) {
    uint64_t rowDictionaryIndex = entries.reserve();
    ProtobufWriter rowDictionary;
    for (size_t row = 0; row < rows.size(); ++row) {
      if (column >= rows[row].size()) {
        continue;
      }
      std::vector<NoteRunSpec> cellRuns;
      if (!rows[row][column].empty()) {
        cellRuns.push_back({.text = rows[row][column], .paragraph = NoteParagraphStyleSpec{}});
      }
      ProtobufWriter cell;
      cell.messageField(10, noteMessage(cellRuns));
      uint64_t cellIndex = entries.add(cell);
      rowDictionary.messageField(1, dictionaryElement(rowMembers[row].value, cellIndex));
    }
    ProtobufWriter rowDictionaryEntry;
    rowDictionaryEntry.messageField(6, rowDictionary);
    entries.set(rowDictionaryIndex, rowDictionaryEntry);
    columnDictionary.messageField(1, dictionaryElement(columnMembers[column].value, rowDictionaryIndex));
  }
  ProtobufWriter cellColumnsEntry;
  cellColumnsEntry.messageField(6, columnDictionary);
  entries.set(cellColumns, cellColumnsEntry);

  ProtobufWriter identity;
  identity.bytesField(4, kNullIdentity);
  ProtobufWriter tableMap;
  tableMap.varintField(1, kTypeTable);
  tableMap.messageField(3, mapItem(kKeyIdentity, identity));
  tableMap.messageField(3, mapItem(kKeyDirection, objectReference(directionRegister)));
  tableMap.messageField(3, mapItem(kKeyRows, objectReference(rowSet)));
  tableMap.messageField(3, mapItem(kKeyColumns, objectReference(columnSet)));
  tableMap.messageField(3, mapItem(kKeyCellColumns, objectReference(cellColumns)));
  ProtobufWriter tableEntry;
  tableEntry.messageField(13, tableMap);
  entries.set(table, tableEntry);

  ProtobufWriter object;
  object.varintField(1, 0);
  object.varintField(2, 0);
  object.messageField(3, entries.document());
  ProtobufWriter root;
  root.varintField(1, 0);
  root.messageField(2, object);
  return std::move(root).take();
}

std::string gzipCompress(std::string_view bytes) {
  // Window bits above 15 ask zlib for a gzip header and trailer.
  thread_local Deflater deflater(15 + 16);
  return deflater.compress(bytes);
}

std::string zlibCompress(std::string_view bytes) {
  thread_local Deflater deflater(15);
  return deflater.compress(bytes);
}

}  // namespace zephyl::notes_store
