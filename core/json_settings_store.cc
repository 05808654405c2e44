#include "core/json_settings_store.h"

#include <nlohmann/json.hpp>

#include "core/file_system_error.h"
#include "core/settings_error.h"

namespace zephyl::core {

// Order-preserving, so that a rewritten file keeps the user's layout of keys.
struct JsonSettingsStore::Document {
  nlohmann::ordered_json object = nlohmann::ordered_json::object();
};

JsonSettingsStore::JsonSettingsStore(FileSystem& fileSystem, std::string path)
    : fileSystem_(fileSystem), path_(std::move(path)) {}

JsonSettingsStore::~JsonSettingsStore() = default;

JsonSettingsStore::Document JsonSettingsStore::load() {
  std::optional<std::string> contents;
  try {
    contents = fileSystem_.readFile(path_);
  } catch (const FileSystemError& error) {
    throw SettingsError(SettingsError::Code::kUnreadableFile, path_, error.reason());
  }
  Document document;
  if (!contents) return document;
  // An empty or blank file is what `touch settings.json` leaves: no settings yet.
  if (contents->find_first_not_of(" \t\r\n") == std::string::npos) return document;
  try {
    document.object = nlohmann::ordered_json::parse(*contents);
  } catch (const nlohmann::json::parse_error& error) {
    throw SettingsError(SettingsError::Code::kMalformedFile, path_, error.what());
  }
  if (!document.object.is_object()) {
    throw SettingsError(SettingsError::Code::kMalformedFile, path_, "the top level is not an object");
  }
  return document;
}

void JsonSettingsStore::store(const Document& document) {
  try {
    // Invalid UTF-8 in a value is replaced rather than failing the whole write.
    fileSystem_.writeFileAtomically(
        path_, document.object.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n");
  } catch (const FileSystemError& error) {
    throw SettingsError(SettingsError::Code::kWriteFailed, path_, error.reason());
  }
}

template <typename Update>
void JsonSettingsStore::update(Update&& change) {
  std::lock_guard lock(mutex_);
  Document document = load();
  change(document.object);
  store(document);
}

namespace {

const nlohmann::ordered_json* find(const nlohmann::ordered_json& object, const std::string& key) {
  auto it = object.find(key);
  return it == object.end() ? nullptr : &*it;
}

}  // namespace

std::optional<bool> JsonSettingsStore::boolValue(const std::string& key) {
  std::lock_guard lock(mutex_);
  const Document document = load();
  const auto* value = find(document.object, key);
  if (value == nullptr || !value->is_boolean()) return std::nullopt;
  return value->get<bool>();
}

std::optional<int64_t> JsonSettingsStore::integerValue(const std::string& key) {
  std::lock_guard lock(mutex_);
  const Document document = load();
  const auto* value = find(document.object, key);
  if (value == nullptr) return std::nullopt;
  if (value->is_number_integer()) {
    if (value->is_number_unsigned() && value->get<uint64_t>() > INT64_MAX) return std::nullopt;
    return value->get<int64_t>();
  }
  return std::nullopt;
}

std::optional<double> JsonSettingsStore::doubleValue(const std::string& key) {
  std::lock_guard lock(mutex_);
  const Document document = load();
  const auto* value = find(document.object, key);
  // Integers are doubles too, as they are in the user defaults.
  if (value == nullptr || !value->is_number()) return std::nullopt;
  return value->get<double>();
}

std::optional<std::string> JsonSettingsStore::stringValue(const std::string& key) {
  std::lock_guard lock(mutex_);
  const Document document = load();
  const auto* value = find(document.object, key);
  if (value == nullptr || !value->is_string()) return std::nullopt;
  return value->get<std::string>();
}

std::optional<std::vector<std::string>> JsonSettingsStore::stringListValue(const std::string& key) {
  std::lock_guard lock(mutex_);
  const Document document = load();
  const auto* value = find(document.object, key);
  if (value == nullptr || !value->is_array()) return std::nullopt;
  std::vector<std::string> result;
  for (const auto& item : *value) {
    if (!item.is_string()) return std::nullopt;
    result.push_back(item.get<std::string>());
  }
  return result;
}

std::optional<JSONValue> JsonSettingsStore::jsonValue(const std::string& key) {
  std::lock_guard lock(mutex_);
  const Document document = load();
  const auto* value = find(document.object, key);
  if (value == nullptr) return std::nullopt;
  return JSONValue::parse(value->dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

void JsonSettingsStore::setBool(const std::string& key, bool value) {
  update([&](nlohmann::ordered_json& object) { object[key] = value; });
}

void JsonSettingsStore::setInteger(const std::string& key, int64_t value) {
  update([&](nlohmann::ordered_json& object) { object[key] = value; });
}

void JsonSettingsStore::setDouble(const std::string& key, double value) {
  update([&](nlohmann::ordered_json& object) { object[key] = value; });
}

void JsonSettingsStore::setString(const std::string& key, const std::string& value) {
  update([&](nlohmann::ordered_json& object) { object[key] = value; });
}

void JsonSettingsStore::setStringList(const std::string& key, const std::vector<std::string>& value) {
  update([&](nlohmann::ordered_json& object) { object[key] = value; });
}

void JsonSettingsStore::setJSONValue(const std::string& key, const JSONValue& value) {
  const auto parsed = nlohmann::ordered_json::parse(value.serialized());
  update([&](nlohmann::ordered_json& object) { object[key] = parsed; });
}

void JsonSettingsStore::remove(const std::string& key) {
  update([&](nlohmann::ordered_json& object) { object.erase(key); });
}

}  // namespace zephyl::core
