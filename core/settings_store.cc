#include "core/settings_store.h"

#include "core/settings_error.h"

namespace zephyl::core {

std::optional<std::string> SettingsStore::checkedStringValue(const std::string& key) {
  const std::optional<JSONValue> value = jsonValue(key);
  if (!value || value->isNull()) return std::nullopt;
  if (const std::string* text = value->string()) return *text;
  throw SettingsError(SettingsError::Code::kWrongType, key, "it must be a string");
}

}  // namespace zephyl::core
