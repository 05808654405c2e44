// Settings kept in one JSON object in a file (settings.json in the config folder).
//
// Every write re-reads the file, changes one key and replaces the file
// atomically, so keys written by another process in the meantime survive. A file
// that is not a JSON object is never overwritten: reads and writes fail with
// SettingsError until the user fixes or removes it, so no setting is lost.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "core/file_system.h"
#include "core/settings_store.h"

namespace zephyl::core {

class JsonSettingsStore : public SettingsStore {
 public:
  // `fileSystem` must outlive the store. The file need not exist.
  JsonSettingsStore(FileSystem& fileSystem, std::string path);
  ~JsonSettingsStore() override;

  std::optional<bool> boolValue(const std::string& key) override;
  std::optional<int64_t> integerValue(const std::string& key) override;
  std::optional<double> doubleValue(const std::string& key) override;
  std::optional<std::string> stringValue(const std::string& key) override;
  std::optional<std::vector<std::string>> stringListValue(const std::string& key) override;
  std::optional<JSONValue> jsonValue(const std::string& key) override;

  void setBool(const std::string& key, bool value) override;
  void setInteger(const std::string& key, int64_t value) override;
  void setDouble(const std::string& key, double value) override;
  void setString(const std::string& key, const std::string& value) override;
  void setStringList(const std::string& key, const std::vector<std::string>& value) override;
  void setJSONValue(const std::string& key, const JSONValue& value) override;
  void remove(const std::string& key) override;

  const std::string& path() const { return path_; }

 private:
  struct Document;
  Document load();
  void store(const Document& document);
  template <typename Update>
  void update(Update&& change);

  FileSystem& fileSystem_;
  std::string path_;
  std::mutex mutex_;  // serialises read-modify-write cycles of this process
};

}  // namespace zephyl::core
