// AIFunctionTool: a function tool that Zephyl runs itself when a model calls
// it (the notes query tool, web fetch, a configured web search). The request
// carries the tools; each adapter family offers them in its wire format and
// hands the model's calls to AIFunctionToolLoop.
#pragma once

#include <optional>
#include <stop_token>
#include <string>

#include "ai/ai_tool_call_update.h"
#include "core/json_value.h"

namespace zephyl::ai {

struct AIFunctionToolOutcome {
  std::string output;                        // what the model reads
  std::optional<std::string> failureReason;  // set: the call failed (shown to the user)
};

class AIFunctionTool {
 public:
  virtual ~AIFunctionTool() = default;

  virtual std::string name() const = 0;
  // {"type": "function", "name", "description", "parameters", "strict"}, as
  // the Responses API takes it; the other families rewrap it.
  virtual core::JSONValue definition() const = 0;
  // kNoteSearch for the notes query tool: offered only where the request
  // allows local notes queries, and once per response.
  virtual AIToolKind kind() const = 0;
  // The update shown while a call with `arguments` runs: its kind, query, URLs.
  virtual AIToolCallUpdate started(const core::JSONValue& arguments) const = 0;
  // Runs the call and fills the sources of `update` (notes, URLs). Throws
  // core::CancellationError once `stop` is requested; any other failure is an
  // outcome with a failure reason.
  virtual AIFunctionToolOutcome run(const core::JSONValue& arguments, std::stop_token stop,
                                    AIToolCallUpdate& update) = 0;
};

constexpr bool isNotesQueryKind(AIToolKind kind) {
  return kind == AIToolKind::kNoteSearch || kind == AIToolKind::kNoteCount;
}

}  // namespace zephyl::ai
