// Reads note documents and table documents back for the writer's tests, written
// apart from the notes store's own decoder so that the tests check the bytes
// against the format rather than against the same code. Test use only: it is
// simple, copies freely and reports malformed input as nullopt.
#pragma once

#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zephyl::notes_store::internal {

struct TestProtobufField {
  uint32_t number = 0;
  uint32_t wireType = 0;
  uint64_t varint = 0;       // wire type 0
  std::string_view bytes{};  // wire type 2
};

// Every field of `message` in order; nullopt when the bytes are not a message
// made of varint and length-delimited fields.
inline std::optional<std::vector<TestProtobufField>> testProtobufFields(std::string_view message) {
  std::vector<TestProtobufField> fields;
  size_t position = 0;
  auto readVarint = [&](uint64_t& value) {
    value = 0;
    for (int shift = 0; shift < 64; shift += 7) {
      if (position >= message.size()) return false;
      auto byte = static_cast<unsigned char>(message[position++]);
      value |= static_cast<uint64_t>(byte & 0x7F) << shift;
      if ((byte & 0x80) == 0) return true;
    }
    return false;
  };
  while (position < message.size()) {
    uint64_t tag = 0;
    if (!readVarint(tag)) return std::nullopt;
    TestProtobufField field{static_cast<uint32_t>(tag >> 3), static_cast<uint32_t>(tag & 7)};
    if (field.wireType == 0) {
      if (!readVarint(field.varint)) return std::nullopt;
    } else if (field.wireType == 2) {
      uint64_t length = 0;
      if (!readVarint(length) || length > message.size() - position) return std::nullopt;
      field.bytes = message.substr(position, length);
      position += length;
    } else {
      return std::nullopt;
    }
    fields.push_back(field);
  }
  return fields;
}

// The payloads of every length-delimited field `number`, in order.
inline std::vector<std::string_view> testMessages(std::string_view message, uint32_t number) {
  std::vector<std::string_view> result;
  for (const TestProtobufField& field :
       testProtobufFields(message).value_or(std::vector<TestProtobufField>{})) {
    if (field.number == number && field.wireType == 2) result.push_back(field.bytes);
  }
  return result;
}

inline std::optional<std::string_view> testMessage(std::string_view message, uint32_t number) {
  std::vector<std::string_view> all = testMessages(message, number);
  if (all.empty()) return std::nullopt;
  return all.front();
}

inline std::optional<uint64_t> testVarint(std::string_view message, uint32_t number) {
  for (const TestProtobufField& field :
       testProtobufFields(message).value_or(std::vector<TestProtobufField>{})) {
    if (field.number == number && field.wireType == 0) return field.varint;
  }
  return std::nullopt;
}

// Inflates a gzip or zlib-headed blob (zlib detects which); nullopt when it is neither.
inline std::optional<std::string> testInflate(std::string_view compressed) {
  z_stream stream{};
  if (inflateInit2(&stream, 15 + 32) != Z_OK) return std::nullopt;
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(compressed.data()));
  stream.avail_in = static_cast<uInt>(compressed.size());
  std::string output;
  int result = Z_OK;
  while (result == Z_OK) {
    char chunk[16384];
    stream.next_out = reinterpret_cast<Bytef*>(chunk);
    stream.avail_out = sizeof chunk;
    result = inflate(&stream, Z_NO_FLUSH);
    output.append(chunk, sizeof chunk - stream.avail_out);
  }
  inflateEnd(&stream);
  if (result != Z_STREAM_END) return std::nullopt;
  return output;
}

struct TestTable {
  std::vector<std::vector<std::string>> rows;  // as shown, left to right
  std::string direction;
};

// Reads an uncompressed table document the way the format notes describe it:
// entries, key names, type names and UUIDs of root.2.3; the ICTable map; row and
// column order from the ordered sets; cells from the cellColumns dictionary; the
// direction through its register. Missing cells read as empty text.
inline std::optional<TestTable> testReadTable(std::string_view document) {
  struct Malformed {};
  auto need = [](auto value) {
    if (!value) throw Malformed{};
    return *value;
  };
  try {
    std::string_view data = need(testMessage(need(testMessage(document, 2)), 3));
    std::vector<std::string_view> entries = testMessages(data, 3);
    std::vector<std::string_view> keys = testMessages(data, 4);
    std::vector<std::string_view> types = testMessages(data, 5);
    std::vector<std::string_view> uuids = testMessages(data, 6);
    auto entry = [&](uint64_t index) {
      if (index >= entries.size()) throw Malformed{};
      return entries[index];
    };
    auto mapType = [&](std::string_view anEntry) -> std::string_view {
      std::optional<std::string_view> map = testMessage(anEntry, 13);
      if (!map) return {};
      uint64_t type = need(testVarint(*map, 1));
      return type < types.size() ? types[type] : std::string_view();
    };
    auto reference = [&](std::string_view object) { return need(testVarint(object, 6)); };
    auto uuidOf = [&](uint64_t index) {
      std::string_view anEntry = entry(index);
      if (mapType(anEntry) != "com.apple.CRDT.NSUUID") throw Malformed{};
      std::string_view item = need(testMessage(need(testMessage(anEntry, 13)), 3));
      uint64_t uuidIndex = need(testVarint(need(testMessage(item, 2)), 2));
      if (uuidIndex >= uuids.size()) throw Malformed{};
      return uuids[uuidIndex];
    };

    auto table = std::find_if(entries.begin(), entries.end(), [&](std::string_view anEntry) {
      return mapType(anEntry) == "com.apple.notes.ICTable";
    });
    if (table == entries.end()) return std::nullopt;
    std::optional<uint64_t> rowsEntry, columnsEntry, cellsEntry, directionEntry;
    for (std::string_view item : testMessages(need(testMessage(*table, 13)), 3)) {
      uint64_t key = need(testVarint(item, 1));
      std::optional<uint64_t> value = testVarint(need(testMessage(item, 2)), 6);
      std::string_view name = key < keys.size() ? keys[key] : std::string_view();
      if (name == "crRows") rowsEntry = value;
      if (name == "crColumns") columnsEntry = value;
      if (name == "cellColumns") cellsEntry = value;
      if (name == "crTableColumnDirection" || name == "CRTableColumnDirection") {
        directionEntry = value;
      }
    }

    auto order = [&](uint64_t setEntry) {
      std::string_view ordering = need(testMessage(need(testMessage(entry(setEntry), 16)), 1));
      std::vector<std::string_view> positions;
      for (std::string_view item : testMessages(need(testMessage(ordering, 1)), 2)) {
        positions.push_back(need(testMessage(item, 2)));
      }
      std::vector<std::pair<size_t, std::string_view>> placed;
      for (std::string_view pair : testMessages(need(testMessage(ordering, 2)), 1)) {
        std::string_view key = uuidOf(reference(need(testMessage(pair, 1))));
        std::string_view value = uuidOf(reference(need(testMessage(pair, 2))));
        auto position = std::find(positions.begin(), positions.end(), key);
        if (position == positions.end()) throw Malformed{};
        placed.emplace_back(position - positions.begin(), value);
      }
      std::sort(placed.begin(), placed.end());
      std::vector<std::string_view> ordered;
      for (const auto& [position, value] : placed) ordered.push_back(value);
      return ordered;
    };
    std::vector<std::string_view> rowOrder = order(need(rowsEntry));
    std::vector<std::string_view> columnOrder = order(need(columnsEntry));

    TestTable result;
    result.rows.assign(rowOrder.size(), std::vector<std::string>(columnOrder.size()));
    for (std::string_view columnPair : testMessages(need(testMessage(entry(need(cellsEntry)), 6)), 1)) {
      auto column = std::find(columnOrder.begin(), columnOrder.end(),
                              uuidOf(reference(need(testMessage(columnPair, 1)))));
      std::string_view rowDictionary = entry(reference(need(testMessage(columnPair, 2))));
      for (std::string_view rowPair : testMessages(need(testMessage(rowDictionary, 6)), 1)) {
        auto row =
            std::find(rowOrder.begin(), rowOrder.end(), uuidOf(reference(need(testMessage(rowPair, 1)))));
        std::string_view cell = need(testMessage(entry(reference(need(testMessage(rowPair, 2)))), 10));
        if (row == rowOrder.end() || column == columnOrder.end()) continue;
        result.rows[row - rowOrder.begin()][column - columnOrder.begin()] =
            std::string(testMessage(cell, 2).value_or(""));
      }
    }

    std::string_view registerValue = need(testMessage(need(testMessage(entry(need(directionEntry)), 1)), 2));
    std::string_view directionMap = need(testMessage(entry(reference(registerValue)), 13));
    result.direction =
        std::string(need(testMessage(need(testMessage(need(testMessage(directionMap, 3)), 2)), 4)));
    if (result.direction == "CRTableColumnDirectionRightToLeft") {
      for (std::vector<std::string>& row : result.rows) std::reverse(row.begin(), row.end());
    }
    return result;
  } catch (const Malformed&) {
    return std::nullopt;
  }
}

}  // namespace zephyl::notes_store::internal
