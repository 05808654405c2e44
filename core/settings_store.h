// The settings: flat camel-case keys with typed values, standing in for the
// user defaults. Readers ask for the type they expect; a value of another type
// reads as absent, so a hand-edited file cannot crash a feature.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/json_value.h"

namespace zephyl::core {

class SettingsStore {
 public:
  virtual ~SettingsStore() = default;

  // Each returns nullopt when the key is absent or holds another type.
  // Throw SettingsError when the settings cannot be read at all.
  virtual std::optional<bool> boolValue(const std::string& key) = 0;
  virtual std::optional<int64_t> integerValue(const std::string& key) = 0;
  virtual std::optional<double> doubleValue(const std::string& key) = 0;
  virtual std::optional<std::string> stringValue(const std::string& key) = 0;
  virtual std::optional<std::vector<std::string>> stringListValue(const std::string& key) = 0;
  // Any value, for structured settings such as keyboard shortcuts.
  virtual std::optional<JSONValue> jsonValue(const std::string& key) = 0;

  // For a setting whose wrong value must not pass for "not set": the string, or
  // nullopt when the key is absent or null. Throws SettingsError (kWrongType,
  // naming the key and "a string") when it holds another type.
  std::optional<std::string> checkedStringValue(const std::string& key);

  // Each keeps every other key as it is. Throw SettingsError.
  virtual void setBool(const std::string& key, bool value) = 0;
  virtual void setInteger(const std::string& key, int64_t value) = 0;
  virtual void setDouble(const std::string& key, double value) = 0;
  virtual void setString(const std::string& key, const std::string& value) = 0;
  virtual void setStringList(const std::string& key, const std::vector<std::string>& value) = 0;
  virtual void setJSONValue(const std::string& key, const JSONValue& value) = 0;
  virtual void remove(const std::string& key) = 0;
};

}  // namespace zephyl::core
