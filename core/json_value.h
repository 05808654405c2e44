// JSONValue: a JSON document as a plain value, without loss. Integers stay
// integers (signed 64-bit, or unsigned 64-bit above the signed range), doubles
// stay doubles, and object keys keep their order, so a provider's item read from
// one response is sent back on the next turn exactly as it came.
//
//   JSONValue item = JSONValue::Object{{"type", "message"}, {"ids", JSONValue::Array{1, 2}}};
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "core/error.h"

namespace zephyl::core {

class JSONValueError : public Error {
 public:
  enum class Code { kMalformedJSON, kNotUTF8 };

  // `detail` is the parser's reason, for the log and for debugging.
  JSONValueError(Code code, std::string detail)
      : Error(std::string(text(code)) + (detail.empty() ? "" : ": " + detail)), code_(code) {}

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kMalformedJSON:
        return "The text is not valid JSON";
      case Code::kNotUTF8:
        return "The value holds text that is not valid UTF-8";
    }
    return {};
  }

  Code code() const { return code_; }

 private:
  Code code_;
};

class JSONValue {
 public:
  using Array = std::vector<JSONValue>;
  // Key order is kept; parsing keeps the first position of a repeated key and
  // its last value.
  using Object = std::vector<std::pair<std::string, JSONValue>>;

  enum class Kind { kObject, kArray, kString, kInteger, kUnsignedInteger, kNumber, kBool, kNull };

  JSONValue() = default;  // null
  JSONValue(std::nullptr_t) {}
  JSONValue(Object object) : value_(std::move(object)) {}
  JSONValue(Array array) : value_(std::move(array)) {}
  JSONValue(std::string text) : value_(std::move(text)) {}
  JSONValue(std::string_view text) : value_(std::string(text)) {}
  JSONValue(const char* text) : value_(std::string(text)) {}
  JSONValue(bool flag) : value_(flag) {}
  JSONValue(double number) : value_(number) {}
  // Any integer type; an unsigned value that fits the signed range is an `integer`.
  template <typename T, std::enable_if_t<std::is_integral_v<T> && !std::is_same_v<T, bool>, int> = 0>
  JSONValue(T number) {
    if constexpr (std::is_unsigned_v<T>) {
      if (static_cast<uint64_t>(number) > static_cast<uint64_t>(INT64_MAX)) {
        value_ = static_cast<uint64_t>(number);
        return;
      }
    }
    value_ = static_cast<int64_t>(number);
  }

  // Parses one JSON document (surrounding white space allowed). Throws
  // JSONValueError for anything else.
  static JSONValue parse(std::string_view text);

  // Compact JSON text; doubles are written with enough digits to read back
  // the same value. Throws JSONValueError when a string is not valid UTF-8.
  std::string serialized() const;

  Kind kind() const { return static_cast<Kind>(value_.index()); }
  bool isNull() const { return kind() == Kind::kNull; }

  // Each returns null when the value is of another kind.
  const Object* object() const { return std::get_if<Object>(&value_); }
  Object* object() { return std::get_if<Object>(&value_); }
  const Array* array() const { return std::get_if<Array>(&value_); }
  Array* array() { return std::get_if<Array>(&value_); }
  const std::string* string() const { return std::get_if<std::string>(&value_); }
  std::optional<bool> boolean() const;

  // The value as a signed integer when it is an integer, or a double without a
  // fraction inside the signed range; services send counts either way.
  std::optional<int64_t> integer() const;
  // The value when it is an unsigned integer above the signed range, or a
  // non-negative signed integer.
  std::optional<uint64_t> unsignedInteger() const;
  // The value as a double when it is any number.
  std::optional<double> number() const;

  // The member named `key` of an object, or null (also when this is no object).
  const JSONValue* find(std::string_view key) const;
  // Sets a member of an object, keeping its position if it exists; a null value
  // becomes an empty object first, a value of another kind is left alone.
  void set(std::string key, JSONValue value);

  bool operator==(const JSONValue& other) const = default;

 private:
  // The index order is the order of Kind.
  std::variant<Object, Array, std::string, int64_t, uint64_t, double, bool, std::nullptr_t> value_ = nullptr;
};

// Appends `text` as a JSON string literal, escaped as serialized() escapes it,
// for writers of large documents that skip building a JSONValue. Throws
// JSONValueError when `text` is not valid UTF-8.
void appendJSONString(std::string_view text, std::string& out);

}  // namespace zephyl::core
