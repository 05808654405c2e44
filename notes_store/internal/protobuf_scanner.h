// A forward-only protobuf field reader that works in place: each field's payload
// is a view into the scanned bytes, nothing is copied and no message tree is built.
// The body decoder, the document reader and the table decoder all read through it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace zephyl::notes_store::internal {

// The longest varint a scan accepts. Body decoding keeps Notes' own limit of nine
// bytes (63 bits), so a ten-byte varint there marks the field list malformed. The
// full document reading needs ten: protobuf writes a negative int32 (a subscript,
// -1) sign-extended to 64 bits, which takes ten bytes.
enum class VarintLimit : uint8_t { kNineBytes = 9, kTenBytes = 10 };

inline constexpr uint32_t kWireVarint = 0;
inline constexpr uint32_t kWireFixed64 = 1;
inline constexpr uint32_t kWireLengthDelimited = 2;
inline constexpr uint32_t kWireFixed32 = 5;

struct ProtobufField {
  uint64_t number = 0;
  uint32_t wireType = 0;
  uint64_t varint = 0;     // wire type 0
  std::string_view bytes;  // wire type 2: the payload, a view into the scanned bytes
};

class ProtobufScanner {
 public:
  explicit ProtobufScanner(std::string_view bytes, VarintLimit limit = VarintLimit::kNineBytes)
      : cursor_(reinterpret_cast<const unsigned char*>(bytes.data())),
        end_(cursor_ + bytes.size()),
        maxVarintBytes_(static_cast<int>(limit)) {}

  // Reads the next field into `field`. False at the end of the bytes, and when the
  // field list turns out malformed: a varint past the end or over the limit, a
  // length or fixed-size value past the end, or wire type 3, 4, 6 or 7 (groups and
  // unknown types, which Notes never writes). After false, malformed() tells which.
  // Always inlined: it is the inner loop of every decoder, and called from many
  // places, which makes the compiler keep it out of line otherwise.
  [[gnu::always_inline]] bool next(ProtobufField& field) {
    if (cursor_ == end_ || malformed_) return false;
    uint64_t tag = 0;
    if (!readVarint(tag)) return fail();
    field.number = tag >> 3;
    field.wireType = static_cast<uint32_t>(tag & 7);
    switch (field.wireType) {
      case kWireVarint:
        if (!readVarint(field.varint)) return fail();
        return true;
      case kWireFixed64:
        return skip(8);
      case kWireFixed32:
        return skip(4);
      case kWireLengthDelimited: {
        uint64_t length = 0;
        if (!readVarint(length) || length > static_cast<uint64_t>(end_ - cursor_)) return fail();
        field.bytes = std::string_view(reinterpret_cast<const char*>(cursor_), static_cast<size_t>(length));
        cursor_ += length;
        return true;
      }
      default:
        return fail();
    }
  }

  bool malformed() const { return malformed_; }

 private:
  [[gnu::always_inline]] bool readVarint(uint64_t& value) {
    // Nearly every tag and most values fit one byte.
    if (cursor_ != end_ && *cursor_ < 0x80) {
      value = *cursor_++;
      return true;
    }
    uint64_t result = 0;
    for (int i = 0; i < maxVarintBytes_; ++i) {
      if (cursor_ == end_) return false;
      const unsigned char byte = *cursor_++;
      // The tenth byte can carry only bit 63; higher bits fall off, as in protobuf.
      result |= static_cast<uint64_t>(byte & 0x7F) << (7 * i);
      if ((byte & 0x80) == 0) {
        value = result;
        return true;
      }
    }
    return false;
  }

  bool skip(size_t count) {
    if (static_cast<size_t>(end_ - cursor_) < count) return fail();
    cursor_ += count;
    return true;
  }

  bool fail() {
    malformed_ = true;
    return false;
  }

  const unsigned char* cursor_;
  const unsigned char* end_;
  int maxVarintBytes_;
  bool malformed_ = false;
};

// The first length-delimited field with the number, or nullopt. A field list
// that breaks off still yields a match found before the break.
inline std::optional<std::string_view> firstMessageField(uint64_t number, std::string_view bytes,
                                                         VarintLimit limit) {
  ProtobufScanner scanner(bytes, limit);
  ProtobufField field;
  while (scanner.next(field)) {
    if (field.number == number && field.wireType == kWireLengthDelimited) return field.bytes;
  }
  return std::nullopt;
}

// The first varint field with the number, or nullopt.
inline std::optional<uint64_t> firstVarintField(uint64_t number, std::string_view bytes, VarintLimit limit) {
  ProtobufScanner scanner(bytes, limit);
  ProtobufField field;
  while (scanner.next(field)) {
    if (field.number == number && field.wireType == kWireVarint) return field.varint;
  }
  return std::nullopt;
}

// Every length-delimited field with the number up to the end or to where the
// list breaks off; `malformed`, when given, tells whether it broke off.
inline std::vector<std::string_view> allMessageFields(uint64_t number, std::string_view bytes,
                                                      VarintLimit limit, bool* malformed = nullptr) {
  std::vector<std::string_view> found;
  ProtobufScanner scanner(bytes, limit);
  ProtobufField field;
  while (scanner.next(field)) {
    if (field.number == number && field.wireType == kWireLengthDelimited) found.push_back(field.bytes);
  }
  if (malformed != nullptr) *malformed = scanner.malformed();
  return found;
}

}  // namespace zephyl::notes_store::internal
