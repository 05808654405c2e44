#include "core/json_value.h"

#include <cmath>
#include <nlohmann/json.hpp>

namespace zephyl::core {
namespace {

using OrderedJson = nlohmann::ordered_json;

JSONValue fromLibrary(const OrderedJson& json) {
  switch (json.type()) {
    case OrderedJson::value_t::object: {
      JSONValue::Object object;
      object.reserve(json.size());
      for (const auto& [key, member] : json.items()) object.emplace_back(key, fromLibrary(member));
      return object;
    }
    case OrderedJson::value_t::array: {
      JSONValue::Array array;
      array.reserve(json.size());
      for (const auto& element : json) array.push_back(fromLibrary(element));
      return array;
    }
    case OrderedJson::value_t::string:
      return json.get_ref<const std::string&>();
    case OrderedJson::value_t::number_integer:
      return json.get<int64_t>();
    case OrderedJson::value_t::number_unsigned:
      return json.get<uint64_t>();
    case OrderedJson::value_t::number_float:
      return json.get<double>();
    case OrderedJson::value_t::boolean:
      return json.get<bool>();
    case OrderedJson::value_t::null:
    case OrderedJson::value_t::discarded:
    case OrderedJson::value_t::binary:
      break;
  }
  return nullptr;
}

OrderedJson toLibrary(const JSONValue& value) {
  switch (value.kind()) {
    case JSONValue::Kind::kObject: {
      // ordered_json's operator[] would merge repeated keys; build it member by member.
      OrderedJson object = OrderedJson::object();
      for (const auto& [key, member] : *value.object()) object.emplace(key, toLibrary(member));
      return object;
    }
    case JSONValue::Kind::kArray: {
      OrderedJson array = OrderedJson::array();
      for (const auto& element : *value.array()) array.push_back(toLibrary(element));
      return array;
    }
    case JSONValue::Kind::kString:
      return *value.string();
    case JSONValue::Kind::kInteger:
      return *value.integer();
    case JSONValue::Kind::kUnsignedInteger:
      return *value.unsignedInteger();
    case JSONValue::Kind::kNumber:
      return *value.number();
    case JSONValue::Kind::kBool:
      return *value.boolean();
    case JSONValue::Kind::kNull:
      break;
  }
  return nullptr;
}

}  // namespace

JSONValue JSONValue::parse(std::string_view text) {
  try {
    return fromLibrary(OrderedJson::parse(text));
  } catch (const nlohmann::json::exception& error) {
    throw JSONValueError(JSONValueError::Code::kMalformedJSON, error.what());
  }
}

std::string JSONValue::serialized() const {
  try {
    return toLibrary(*this).dump();
  } catch (const nlohmann::json::exception& error) {
    throw JSONValueError(JSONValueError::Code::kNotUTF8, error.what());
  }
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
