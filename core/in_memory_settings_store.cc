#include "core/in_memory_settings_store.h"

namespace zephyl::core {

std::optional<bool> InMemorySettingsStore::boolValue(const std::string& key) {
  auto value = jsonValue(key);
  return value ? value->boolean() : std::nullopt;
}

std::optional<int64_t> InMemorySettingsStore::integerValue(const std::string& key) {
  auto value = jsonValue(key);
  if (!value) return std::nullopt;
  // Only true integers, as the file-backed store reads them.
  if (value->kind() != JSONValue::Kind::kInteger) return std::nullopt;
  return value->integer();
}

std::optional<double> InMemorySettingsStore::doubleValue(const std::string& key) {
  auto value = jsonValue(key);
  return value ? value->number() : std::nullopt;
}

std::optional<std::string> InMemorySettingsStore::stringValue(const std::string& key) {
  auto value = jsonValue(key);
  if (!value || value->string() == nullptr) return std::nullopt;
  return *value->string();
}

std::optional<std::vector<std::string>> InMemorySettingsStore::stringListValue(const std::string& key) {
  auto value = jsonValue(key);
  if (!value || value->array() == nullptr) return std::nullopt;
  std::vector<std::string> result;
  for (const JSONValue& item : *value->array()) {
    if (item.string() == nullptr) return std::nullopt;
    result.push_back(*item.string());
  }
  return result;
}

std::optional<JSONValue> InMemorySettingsStore::jsonValue(const std::string& key) {
  MutexLock lock(mutex_);
  auto it = values_.find(key);
  if (it == values_.end()) return std::nullopt;
  return it->second;
}

void InMemorySettingsStore::setStringList(const std::string& key, const std::vector<std::string>& value) {
  JSONValue::Array array(value.begin(), value.end());
  setJSONValue(key, JSONValue(std::move(array)));
}

void InMemorySettingsStore::setJSONValue(const std::string& key, const JSONValue& value) {
  MutexLock lock(mutex_);
  values_[key] = value;
}

void InMemorySettingsStore::remove(const std::string& key) {
  MutexLock lock(mutex_);
  values_.erase(key);
}

}  // namespace zephyl::core
