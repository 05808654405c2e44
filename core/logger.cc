#include "core/logger.h"

#include <cstdio>
#include <cstring>

namespace zephyl::core {
namespace {

std::mutex& configurationMutex() {
  static std::mutex mutex;
  return mutex;
}

LogConfiguration& sharedConfiguration() {
  static LogConfiguration configuration;  // guarded by configurationMutex()
  return configuration;
}

class StandardErrorLogSink : public LogSink {
 public:
  void write(LogLevel level, std::string_view category, std::string_view message) override {
    std::lock_guard lock(mutex_);
    std::fprintf(stderr, "%.*s[%.*s] %.*s: %.*s\n", static_cast<int>(kLogSubsystem.size()),
                 kLogSubsystem.data(), static_cast<int>(category.size()), category.data(),
                 static_cast<int>(logLevelName(level).size()), logLevelName(level).data(),
                 static_cast<int>(message.size()), message.data());
  }

 private:
  std::mutex mutex_;  // keeps lines from different threads apart
};

}  // namespace

std::string_view logLevelName(LogLevel level) {
  switch (level) {
    case LogLevel::kDebug:
      return "debug";
    case LogLevel::kInfo:
      return "info";
    case LogLevel::kWarning:
      return "warning";
    case LogLevel::kError:
      return "error";
    case LogLevel::kOff:
      return "off";
  }
  return {};
}

LogConfiguration logConfigurationFromEnvironment(const char* value, std::shared_ptr<LogSink> sink) {
  LogConfiguration configuration;
  if (value == nullptr) return configuration;
  const std::string_view level(value);
  if (level == "debug") {
    configuration.minimumLevel = LogLevel::kDebug;
    configuration.showPrivate = true;
  } else if (level == "info") {
    configuration.minimumLevel = LogLevel::kInfo;
  } else if (level == "warning") {
    configuration.minimumLevel = LogLevel::kWarning;
  } else if (level == "error") {
    configuration.minimumLevel = LogLevel::kError;
  } else {
    return configuration;
  }
  configuration.sink = std::move(sink);
  return configuration;
}

void setLogConfiguration(LogConfiguration configuration) {
  std::lock_guard lock(configurationMutex());
  sharedConfiguration() = std::move(configuration);
}

LogConfiguration logConfiguration() {
  std::lock_guard lock(configurationMutex());
  return sharedConfiguration();
}

std::shared_ptr<LogSink> makeStandardErrorLogSink() { return std::make_shared<StandardErrorLogSink>(); }

LogLine::LogLine(std::string_view category, LogLevel level)
    : category_(category), level_(level), configuration_(logConfiguration()) {
  enabled_ = configuration_.sink != nullptr && level_ >= configuration_.minimumLevel &&
             configuration_.minimumLevel != LogLevel::kOff;
}

LogLine::~LogLine() {
  if (enabled_) configuration_.sink->write(level_, category_, stream_.str());
}

}  // namespace zephyl::core
