// One JSON line per AIStreamEvent, as `zephyl debug stream` and `zephyl ask
// --json` print them: {"type":"textDelta","text":...}, {"type":"usage",...}.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "ai/ai_stream_event.h"

namespace zephyl::cli {

class AIStreamEventPrinter {
 public:
  explicit AIStreamEventPrinter(std::ostream& out) : out_(out) {}

  // Writes the line of `event`; a usage line names the last response id seen.
  void print(const ai::AIStreamEvent& event);
  // {"type":"error","message":...}: the last line of a failed stream.
  void printError(std::string_view message);

 private:
  std::ostream& out_;
  std::optional<std::string> responseID_;
};

}  // namespace zephyl::cli
