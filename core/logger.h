// Logging: one subsystem, "com.zephyl.Zephyl", and one category per component.
//
// Counts and identifiers are logged as they are; user text (titles, note text,
// paths chosen by the user) is wrapped in `Private(...)` and shown as
// "<private>" unless private output is switched on (ZEPHYL_LOG=debug).
//
// Each source file that logs declares its category once, at namespace scope:
//
//   constexpr core::Logger kLog("NotesDatabaseAccess");
//   kLog.debug() << "Listed " << rows.size() << " notes of " << Private(title);
//
// A Logger is built at compile time and never destroyed, so it works from any
// static initializer, any thread and during exit.
#pragma once

#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>

namespace zephyl::core {

inline constexpr std::string_view kLogSubsystem = "com.zephyl.Zephyl";

enum class LogLevel { kDebug = 0, kInfo = 1, kWarning = 2, kError = 3, kOff = 4 };

std::string_view logLevelName(LogLevel level);

// Where log lines go. Implementations must be safe to call from any thread.
class LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void write(LogLevel level, std::string_view category, std::string_view message) = 0;
};

struct LogConfiguration {
  std::shared_ptr<LogSink> sink;  // null: logging off
  LogLevel minimumLevel = LogLevel::kOff;
  bool showPrivate = false;
};

// The configuration that ZEPHYL_LOG's value asks for: "debug" shows every line
// with private values; "info", "warning" and "error" show that level and above
// with private values redacted; anything else (or unset) shows nothing.
LogConfiguration logConfigurationFromEnvironment(const char* zephylLogValue, std::shared_ptr<LogSink> sink);

// The log output is process-wide, like the system log it stands in for; main()
// sets it once, tests may swap in a capturing sink.
void setLogConfiguration(LogConfiguration configuration);
LogConfiguration logConfiguration();

// A sink that writes "subsystem[category] level: message" lines to standard error.
std::shared_ptr<LogSink> makeStandardErrorLogSink();

template <typename T>
struct PrivateValue {
  const T& value;
};

// Marks a value as user text: redacted unless private output is on.
template <typename T>
PrivateValue<T> Private(const T& value) {
  return PrivateValue<T>{value};
}

class LogLine {
 public:
  LogLine(std::string_view category, LogLevel level);
  ~LogLine();
  LogLine(const LogLine&) = delete;
  LogLine& operator=(const LogLine&) = delete;

  template <typename T>
  LogLine& operator<<(const T& value) {
    if (enabled_) stream_ << value;
    return *this;
  }

  template <typename T>
  LogLine& operator<<(const PrivateValue<T>& value) {
    if (!enabled_) return *this;
    if (configuration_.showPrivate) {
      stream_ << value.value;
    } else {
      stream_ << "<private>";
    }
    return *this;
  }

 private:
  std::string_view category_;
  LogLevel level_;
  LogConfiguration configuration_;
  bool enabled_;
  std::ostringstream stream_;
};

class Logger {
 public:
  // consteval: the category is a literal, which outlives every log line.
  consteval explicit Logger(std::string_view category) : category_(category) {}

  LogLine debug() const { return LogLine(category_, LogLevel::kDebug); }
  LogLine info() const { return LogLine(category_, LogLevel::kInfo); }
  LogLine warning() const { return LogLine(category_, LogLevel::kWarning); }
  LogLine error() const { return LogLine(category_, LogLevel::kError); }

  std::string_view category() const { return category_; }

 private:
  std::string_view category_;
};

static_assert(std::is_trivially_destructible_v<Logger>);

}  // namespace zephyl::core
