// AIFunctionToolLoop: what every adapter family shares when a model calls the
// function tools of a request. The adapter sends a round, hands the calls the
// model made to answer(), sends the outputs back in its wire format and goes
// on, until a round calls nothing (run() drives exactly that). answer() runs
// each call, shows it as a tool call update (running, then completed or
// failed), cuts an output over kMaximumOutputBytes with a marker, runs one
// notes query per response, and ends the turn with kTooManyRounds once the
// model has had kMaximumRounds rounds of tools and still calls one.
#pragma once

#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "ai/ai_function_tool.h"
#include "ai/ai_stream_event.h"
#include "ai/ai_stream_request.h"
#include "core/error.h"

namespace zephyl::ai {

class AIFunctionToolError : public core::Error {
 public:
  enum class Code { kTooManyRounds };

  explicit AIFunctionToolError(Code code) : Error(std::string(text(code))), code_(code) {}

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kTooManyRounds:
        return "The model kept calling tools without answering, so Zephyl stopped it after 8 rounds of tool "
               "calls. Ask again, more narrowly.";
    }
    return {};
  }

  Code code() const { return code_; }

 private:
  Code code_;
};

// One call as the model made it; `arguments` is the JSON text it sent.
struct AIFunctionCall {
  std::string callID;
  std::string name;
  std::string arguments;
};

struct AIFunctionCallOutput {
  std::string callID;
  std::string name;
  std::string output;
};

class AIFunctionToolLoop {
 public:
  using Emit = std::function<void(AIStreamEvent)>;

  // Rounds of tool calls a model gets within one answer.
  static constexpr int kMaximumRounds = 8;
  // The most of one tool output that the model reads.
  static constexpr size_t kMaximumOutputBytes = 32 * 1024;

  // `request` and `emit` must outlive the loop. `takesNotesQuery`: the service
  // may be offered the notes query tool (the request must allow it as well).
  AIFunctionToolLoop(const AIStreamRequest& request, bool takesNotesQuery, std::stop_token stop,
                     const Emit& emit);

  // Whether `name` is one of the offered tools.
  bool runs(std::string_view name) const;

  // Runs the calls of one response in order and returns one output per call;
  // none when the request offers no tools.
  // A call to a tool that is not offered, with arguments that are not a JSON
  // object, or a second notes query in the same response, is answered with
  // what went wrong. Throws AIFunctionToolError past the round bound and
  // core::CancellationError.
  std::vector<AIFunctionCallOutput> answer(const std::vector<AIFunctionCall>& calls);

  // The rounds: `send` sends one (with everything given back so far) and
  // returns the calls the model made; `giveBack` adds the outputs for the next.
  void run(const std::function<std::vector<AIFunctionCall>()>& send,
           const std::function<void(const std::vector<AIFunctionCallOutput>&)>& giveBack);

 private:
  std::vector<std::shared_ptr<AIFunctionTool>> tools_;
  std::stop_token stop_;
  const Emit& emit_;
  int rounds_ = 0;
};

// The tools `request` offers: its function tools, the notes query tool only
// where the service takes it (`takesNotesQuery`), the request allows it and no
// web search is demanded on every turn.
std::vector<std::shared_ptr<AIFunctionTool>> offeredFunctionTools(const AIStreamRequest& request,
                                                                  bool takesNotesQuery);
// Their definitions, Responses-shaped (see AIFunctionTool).
std::vector<core::JSONValue> functionToolDefinitions(const AIStreamRequest& request, bool takesNotesQuery);

// `output` cut to `maximumBytes` at a character boundary, with a line saying
// how much was left out; unchanged when it fits.
std::string boundedToolOutput(std::string output, size_t maximumBytes);

}  // namespace zephyl::ai
