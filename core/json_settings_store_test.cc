#include "core/json_settings_store.h"

#include <gtest/gtest.h>

#include "core/in_memory_settings_store.h"
#include "core/settings_error.h"
#include "platform/testing/in_memory_file_system.h"

namespace zephyl::core {
namespace {

using platform::testing::InMemoryFileSystem;

constexpr const char* kPath = "/config/zephyl/settings.json";

TEST(JsonSettingsStore, MissingOrBlankFileReadsAsNoSettings) {
  InMemoryFileSystem files;
  JsonSettingsStore store(files, kPath);
  EXPECT_EQ(store.boolValue("markdownTriggersEnabled"), std::nullopt);
  files.addFile(kPath, " \n");
  EXPECT_EQ(store.stringValue("notesDatabasePath"), std::nullopt);
}

constexpr const char* kTypedValues =
    R"({"flag": true, "count": 3, "ratio": 0.5, "name": "x", "list": ["a", "b"],
                                         "huge": 18446744073709551615, "mixed": ["a", 1]})";

// Both stores read a value of another type as absent, in the same way.
void expectTypedReads(SettingsStore& store) {
  EXPECT_EQ(store.boolValue("flag"), true);
  EXPECT_EQ(store.boolValue("count"), std::nullopt);
  EXPECT_EQ(store.integerValue("count"), 3);
  EXPECT_EQ(store.integerValue("ratio"), std::nullopt);
  EXPECT_EQ(store.integerValue("huge"), std::nullopt);  // does not fit: absent, not wrapped
  EXPECT_EQ(store.doubleValue("count"), 3.0);
  EXPECT_EQ(store.doubleValue("ratio"), 0.5);
  EXPECT_EQ(store.stringValue("name"), "x");
  EXPECT_EQ(store.stringValue("flag"), std::nullopt);
  EXPECT_EQ(store.stringListValue("list"), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(store.stringListValue("mixed"), std::nullopt);
}

TEST(JsonSettingsStore, TypedReadsTreatOtherTypesAsAbsentInBothStores) {
  InMemoryFileSystem files;
  files.addFile(kPath, kTypedValues);
  JsonSettingsStore store(files, kPath);
  expectTypedReads(store);
  InMemorySettingsStore memory;
  const JSONValue values = JSONValue::parse(kTypedValues);
  for (const auto& [key, value] : *values.object()) memory.setJSONValue(key, value);
  expectTypedReads(memory);
  memory.remove("flag");
  EXPECT_EQ(memory.jsonValue("flag"), std::nullopt);
}

TEST(JsonSettingsStore, StructuredValuesRoundTripAndKeepTheirKeyOrder) {
  InMemoryFileSystem files;
  JsonSettingsStore store(files, kPath);
  const JSONValue shortcut =
      JSONValue::parse(R"({"keyCode": 35, "modifierFlags": 1179648, "keyLabel": "P"})");
  store.setJSONValue("commandPaletteShortcut", shortcut);
  store.setBool("slashCommandsEnabled", false);
  EXPECT_EQ(store.jsonValue("commandPaletteShortcut"), shortcut);
  EXPECT_EQ(store.jsonValue("slashCommandsEnabled"), JSONValue(false));
  EXPECT_EQ(store.jsonValue("absent"), std::nullopt);
  EXPECT_NE(files.readFile(kPath)->find(R"("keyCode": 35)"), std::string::npos);
}

TEST(JsonSettingsStore, WritesKeepOtherKeysIncludingOnesWrittenMeanwhile) {
  InMemoryFileSystem files;
  files.addFile(kPath, R"({"userKey": {"nested": [1, 2]}, "keep": "me"})");
  JsonSettingsStore store(files, kPath);
  store.setBool("slashCommandsEnabled", false);
  // Another process adds a key between two writes of ours.
  auto contents = *files.contents(kPath);
  contents.insert(contents.find('{') + 1, "\"other\": 7, ");
  files.addFile(kPath, contents);
  store.setString("notesDatabasePath", "/tmp/x");
  store.remove("keep");

  JsonSettingsStore reread(files, kPath);
  EXPECT_EQ(reread.boolValue("slashCommandsEnabled"), false);
  EXPECT_EQ(reread.stringValue("notesDatabasePath"), "/tmp/x");
  EXPECT_EQ(reread.integerValue("other"), 7);
  EXPECT_EQ(reread.stringValue("keep"), std::nullopt);
  EXPECT_NE(files.contents(kPath)->find("\"nested\""), std::string::npos);
  // Key order is the user's, new keys appended.
  EXPECT_LT(files.contents(kPath)->find("userKey"), files.contents(kPath)->find("slashCommandsEnabled"));
}

TEST(JsonSettingsStore, MalformedFileIsReportedAndNeverOverwritten) {
  for (const char* broken : {"{\"a\": 1,", "[1, 2]", "\"text\"", "{\"a\": tru}"}) {
    InMemoryFileSystem files;
    files.addFile(kPath, broken);
    JsonSettingsStore store(files, kPath);
    try {
      store.boolValue("a");
      ADD_FAILURE() << "read of " << broken << " did not fail";
    } catch (const SettingsError& error) {
      EXPECT_EQ(error.code(), SettingsError::Code::kMalformedFile);
      EXPECT_NE(error.description().find(kPath), std::string::npos) << error.description();
    }
    EXPECT_THROW(store.setBool("a", true), SettingsError);
    EXPECT_EQ(files.contents(kPath), broken);
    EXPECT_EQ(files.writeCount(), 0);
  }
}

TEST(JsonSettingsStore, UnreadableAndUnwritableFilesGiveTheirOwnErrors) {
  InMemoryFileSystem files;
  files.addFile(kPath, R"({"a": 1})");
  JsonSettingsStore store(files, kPath);
  const auto codeOf = [](const std::function<void()>& action) {
    try {
      action();
    } catch (const SettingsError& error) {
      return std::optional(error.code());
    }
    return std::optional<SettingsError::Code>();
  };
  files.setFailWrites(true);
  EXPECT_EQ(codeOf([&] { store.setInteger("a", 2); }), SettingsError::Code::kWriteFailed);
  EXPECT_EQ(store.integerValue("a"), 1);
  files.setFailReads(true);
  EXPECT_EQ(codeOf([&] { store.integerValue("a"); }), SettingsError::Code::kUnreadableFile);
}

TEST(JsonSettingsStore, InvalidUtf8ValueIsStoredReplacedNotRejected) {
  InMemoryFileSystem files;
  JsonSettingsStore store(files, kPath);
  store.setString("name", std::string("a\xff") + "b");
  EXPECT_EQ(store.stringValue("name"),
            "a\xEF\xBF\xBD"
            "b");
}

}  // namespace
}  // namespace zephyl::core
