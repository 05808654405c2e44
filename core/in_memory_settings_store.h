// Settings kept in memory only: for a session that must not touch the user's
// settings file, such as a replayed recording, and for tests.
#pragma once

#include <map>
#include <mutex>

#include "core/mutex.h"
#include "core/settings_store.h"

namespace zephyl::core {

class InMemorySettingsStore : public SettingsStore {
 public:
  std::optional<bool> boolValue(const std::string& key) override;
  std::optional<int64_t> integerValue(const std::string& key) override;
  std::optional<double> doubleValue(const std::string& key) override;
  std::optional<std::string> stringValue(const std::string& key) override;
  std::optional<std::vector<std::string>> stringListValue(const std::string& key) override;
  std::optional<JSONValue> jsonValue(const std::string& key) override;

  void setBool(const std::string& key, bool value) override { setJSONValue(key, value); }
  void setInteger(const std::string& key, int64_t value) override { setJSONValue(key, value); }
  void setDouble(const std::string& key, double value) override { setJSONValue(key, value); }
  void setString(const std::string& key, const std::string& value) override { setJSONValue(key, value); }
  void setStringList(const std::string& key, const std::vector<std::string>& value) override;
  void setJSONValue(const std::string& key, const JSONValue& value) override;
  void remove(const std::string& key) override;

 private:
  Mutex mutex_;
  std::map<std::string, JSONValue> values_ ZEPHYL_GUARDED_BY(mutex_);
};

}  // namespace zephyl::core
