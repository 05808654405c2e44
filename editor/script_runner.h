// Runs AppleScript text (System Events menu clicks, Notes scripting).
#pragma once

#include <string>

namespace zephyl::editor {

class ScriptRunner {
 public:
  virtual ~ScriptRunner() = default;

  // Runs `source` to its end; `taskLabel` names the work in logs and traces.
  // Throws ScriptError, or core::CancellationError when the caller was cancelled.
  virtual void run(const std::string& source, const std::string& taskLabel) = 0;

  // Runs `source` and returns its result as text. Throws as run() does. Runners
  // that cannot capture a result run the script and return empty text.
  virtual std::string evaluate(const std::string& source, const std::string& taskLabel) {
    run(source, taskLabel);
    return {};
  }
};

}  // namespace zephyl::editor
