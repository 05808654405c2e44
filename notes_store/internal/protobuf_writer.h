// A minimal protobuf encoder: varint and length-delimited fields appended to a
// byte string. Enough to write Apple Notes' note bodies and table documents;
// nested messages are built in their own writer and appended as bytes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace zephyl::notes_store::internal {

class ProtobufWriter {
 public:
  // Wire type 0 with the value as an unsigned varint.
  void varintField(uint32_t field, uint64_t value) {
    tag(field, 0);
    varint(value);
  }

  // Wire type 0 with protobuf's int32 encoding: a negative value is sign-extended
  // to 64 bits and so always takes ten bytes.
  void int32Field(uint32_t field, int32_t value) {
    varintField(field, static_cast<uint64_t>(static_cast<int64_t>(value)));
  }

  // Wire type 2: the length, then the bytes (text, raw bytes or an encoded message).
  void bytesField(uint32_t field, std::string_view bytes) {
    tag(field, 2);
    varint(bytes.size());
    bytes_.append(bytes);
  }

  void messageField(uint32_t field, const ProtobufWriter& message) { bytesField(field, message.bytes_); }

  const std::string& bytes() const { return bytes_; }
  std::string take() && { return std::move(bytes_); }

 private:
  void tag(uint32_t field, uint32_t wireType) { varint((static_cast<uint64_t>(field) << 3) | wireType); }

  void varint(uint64_t value) {
    while (value >= 0x80) {
      bytes_.push_back(static_cast<char>((value & 0x7F) | 0x80));
      value >>= 7;
    }
    bytes_.push_back(static_cast<char>(value));
  }

  std::string bytes_;
};

}  // namespace zephyl::notes_store::internal
