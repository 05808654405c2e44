#include "core/logger.h"

#include <gtest/gtest.h>

#include <vector>

namespace zephyl::core {
namespace {

class CapturingSink : public LogSink {
 public:
  void write(LogLevel level, std::string_view category, std::string_view message) override {
    lines.push_back(std::string(logLevelName(level)) + " " + std::string(category) + ": " +
                    std::string(message));
  }
  std::vector<std::string> lines;
};

class LoggerTest : public ::testing::Test {
 protected:
  void TearDown() override { setLogConfiguration({}); }
};

TEST_F(LoggerTest, PrivateValuesRedactedUnlessDebug) {
  auto sink = std::make_shared<CapturingSink>();
  const Logger log("NotesDatabaseAccess");

  setLogConfiguration(logConfigurationFromEnvironment("info", sink));
  log.info() << "Listed " << 42 << " notes of " << Private(std::string("Secret plans"));
  log.debug() << "not shown";

  setLogConfiguration(logConfigurationFromEnvironment("debug", sink));
  log.debug() << "title " << Private(std::string("Secret plans"));

  ASSERT_EQ(sink->lines.size(), 2u);
  EXPECT_EQ(sink->lines[0], "info NotesDatabaseAccess: Listed 42 notes of <private>");
  EXPECT_EQ(sink->lines[1], "debug NotesDatabaseAccess: title Secret plans");
}

TEST_F(LoggerTest, EnvironmentValuesSelectLevels) {
  auto sink = std::make_shared<CapturingSink>();
  for (const char* value : {static_cast<const char*>(nullptr), "", "verbose"}) {
    setLogConfiguration(logConfigurationFromEnvironment(value, sink));
    Logger("X").error() << "dropped";
  }
  setLogConfiguration(logConfigurationFromEnvironment("warning", sink));
  Logger("X").info() << "dropped";
  Logger("X").warning() << "kept";
  Logger("X").error() << "kept too";
  EXPECT_EQ(sink->lines, (std::vector<std::string>{"warning X: kept", "error X: kept too"}));
}

}  // namespace
}  // namespace zephyl::core
