#include "core/json_value.h"

#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>
#include <unordered_map>
#include <unordered_set>

#include "core/utf8.h"

namespace zephyl::core {
namespace {

using OrderedJson = nlohmann::ordered_json;

// Past this many members an object's keys are looked up through a hash index,
// so a hostile document with many keys costs linear time, not quadratic.
constexpr size_t kIndexedObjectSize = 32;

// Builds the value straight from the parser's events: no intermediate
// document, which halved the time of loading large files.
class ValueBuilder {
 public:
  JSONValue take() { return std::move(root_); }

  bool null() { return place(nullptr); }
  bool boolean(bool flag) { return place(flag); }
  bool number_integer(int64_t number) { return place(number); }
  bool number_unsigned(uint64_t number) { return place(number); }
  bool number_float(double number, const std::string&) { return place(number); }
  bool string(std::string& text) { return place(std::move(text)); }
  bool binary(OrderedJson::binary_t&) { return false; }  // never produced by text input

  bool start_object(size_t) {
    JSONValue* object = slot();
    *object = JSONValue::Object{};
    frames_.push_back({object, nullptr, {}});
    return true;
  }

  // A repeated key keeps its first position and takes the last value.
  bool key(std::string& name) {
    Frame& frame = frames_.back();
    JSONValue::Object& members = *frame.container->object();
    if (members.size() >= kIndexedObjectSize && frame.index.empty()) {
      for (size_t i = 0; i < members.size(); ++i) frame.index.emplace(members[i].first, i);
    }
    if (!frame.index.empty()) {
      const auto [it, inserted] = frame.index.emplace(name, members.size());
      if (!inserted) {
        frame.pending = &members[it->second].second;
        return true;
      }
    } else {
      for (auto& [existing, value] : members) {
        if (existing == name) {
          frame.pending = &value;
          return true;
        }
      }
    }
    members.emplace_back(std::move(name), nullptr);
    frame.pending = &members.back().second;
    return true;
  }

  bool end_object() {
    frames_.pop_back();
    return true;
  }

  bool start_array(size_t) {
    JSONValue* array = slot();
    *array = JSONValue::Array{};
    frames_.push_back({array, nullptr, {}});
    return true;
  }

  bool end_array() {
    frames_.pop_back();
    return true;
  }

  bool parse_error(size_t, const std::string&, const nlohmann::detail::exception& error) {
    throw JSONValueError(JSONValueError::Code::kMalformedJSON, error.what());
  }

 private:
  struct Frame {
    JSONValue* container;
    JSONValue* pending;  // an object's member whose key was just read
    std::unordered_map<std::string, size_t> index;
  };

  // Where the next value goes. A container's vector grows only while it is
  // the innermost open one, so the pointers held by outer frames stay valid.
  JSONValue* slot() {
    if (frames_.empty()) return &root_;
    Frame& frame = frames_.back();
    if (JSONValue::Array* array = frame.container->array()) {
      array->emplace_back();
      return &array->back();
    }
    return std::exchange(frame.pending, nullptr);
  }

  bool place(JSONValue value) {
    *slot() = std::move(value);
    return true;
  }

  JSONValue root_;
  std::vector<Frame> frames_;
};

}  // namespace

void appendJSONString(std::string_view text, std::string& out) {
  static constexpr char kHex[] = "0123456789abcdef";
  out += '"';
  size_t clean = 0;  // start of the bytes not yet copied
  for (size_t i = 0; i < text.size();) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte >= 0x80) {
      const size_t length = validSequenceLength(text, i);
      if (length == 0) {
        throw JSONValueError(JSONValueError::Code::kNotUTF8,
                             "invalid UTF-8 byte at index " + std::to_string(i));
      }
      i += length;
      continue;
    }
    if (byte >= 0x20 && byte != '"' && byte != '\\') {
      ++i;
      continue;
    }
    out.append(text, clean, i - clean);
    switch (byte) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\b':
        out += "\\b";
        break;
      case '\f':
        out += "\\f";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        out += "\\u00";
        out += kHex[byte >> 4];
        out += kHex[byte & 0xF];
    }
    clean = ++i;
  }
  out.append(text, clean);
  out += '"';
}

namespace {

template <typename Integer>
void appendInteger(Integer number, std::string& out) {
  char buffer[24];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
  out.append(buffer, result.ptr);
}

void appendSerialized(const JSONValue& value, std::string& out) {
  switch (value.kind()) {
    case JSONValue::Kind::kObject: {
      const JSONValue::Object& members = *value.object();
      // A literal may repeat a key; the first one is what find() reads, so it
      // is the one written.
      std::unordered_set<std::string_view> written;
      if (members.size() > kIndexedObjectSize) written.reserve(members.size());
      out += '{';
      bool first = true;
      for (size_t i = 0; i < members.size(); ++i) {
        const auto& [key, member] = members[i];
        bool repeated = false;
        if (members.size() > kIndexedObjectSize) {
          repeated = !written.insert(key).second;
        } else {
          for (size_t j = 0; j < i && !repeated; ++j) repeated = members[j].first == key;
        }
        if (repeated) continue;
        if (!first) out += ',';
        first = false;
        appendJSONString(key, out);
        out += ':';
        appendSerialized(member, out);
      }
      out += '}';
      return;
    }
    case JSONValue::Kind::kArray: {
      out += '[';
      bool first = true;
      for (const JSONValue& element : *value.array()) {
        if (!first) out += ',';
        first = false;
        appendSerialized(element, out);
      }
      out += ']';
      return;
    }
    case JSONValue::Kind::kString:
      appendJSONString(*value.string(), out);
      return;
    case JSONValue::Kind::kInteger:
      appendInteger(*value.integer(), out);
      return;
    case JSONValue::Kind::kUnsignedInteger:
      appendInteger(*value.unsignedInteger(), out);
      return;
    case JSONValue::Kind::kNumber:
      // The library's shortest round-trip form ("1.0", "1e+300"); numbers with
      // fractions are rare in what the system writes.
      out += OrderedJson(*value.number()).dump();
      return;
    case JSONValue::Kind::kBool:
      out += *value.boolean() ? "true" : "false";
      return;
    case JSONValue::Kind::kNull:
      out += "null";
      return;
  }
}

}  // namespace

JSONValue JSONValue::parse(std::string_view text) {
  ValueBuilder builder;
  try {
    if (!OrderedJson::sax_parse(text, &builder)) {
      throw JSONValueError(JSONValueError::Code::kMalformedJSON, "");
    }
  } catch (const nlohmann::json::exception& error) {
    throw JSONValueError(JSONValueError::Code::kMalformedJSON, error.what());
  }
  return builder.take();
}

std::string JSONValue::serialized() const {
  std::string out;
  appendSerialized(*this, out);
  return out;
}

std::optional<bool> JSONValue::boolean() const {
  if (const bool* flag = std::get_if<bool>(&value_)) return *flag;
  return std::nullopt;
}

std::optional<int64_t> JSONValue::integer() const {
  if (const auto* number = std::get_if<int64_t>(&value_)) return *number;
  if (const auto* number = std::get_if<double>(&value_)) {
    // 2^63 is exactly representable; anything from it up does not fit.
    if (std::isfinite(*number) && std::trunc(*number) == *number && *number >= -9223372036854775808.0 &&
        *number < 9223372036854775808.0) {
      return static_cast<int64_t>(*number);
    }
  }
  return std::nullopt;
}

std::optional<uint64_t> JSONValue::unsignedInteger() const {
  if (const auto* number = std::get_if<uint64_t>(&value_)) return *number;
  if (const auto* number = std::get_if<int64_t>(&value_); number != nullptr && *number >= 0) {
    return static_cast<uint64_t>(*number);
  }
  return std::nullopt;
}

std::optional<double> JSONValue::number() const {
  if (const auto* number = std::get_if<int64_t>(&value_)) return static_cast<double>(*number);
  if (const auto* number = std::get_if<uint64_t>(&value_)) return static_cast<double>(*number);
  if (const auto* number = std::get_if<double>(&value_)) return *number;
  return std::nullopt;
}

const JSONValue* JSONValue::find(std::string_view key) const {
  const Object* members = object();
  if (members == nullptr) return nullptr;
  for (const auto& [name, member] : *members) {
    if (name == key) return &member;
  }
  return nullptr;
}

void JSONValue::set(std::string key, JSONValue value) {
  if (isNull()) value_ = Object{};
  Object* members = object();
  if (members == nullptr) return;
  for (auto& [name, member] : *members) {
    if (name == key) {
      member = std::move(value);
      return;
    }
  }
  members->emplace_back(std::move(key), std::move(value));
}

}  // namespace zephyl::core
